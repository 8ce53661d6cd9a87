// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Usage: valgrind --tool=callgrind countinstructions
//
// Calls each small operation of the library once, and each operation with a key on long texts that
// are not keys. Each call has a profile with its name. Prints what the counts depend on.

#include <syncstatus/filemanager.h>
#include <syncstatus/monitornetwork.h>
#include <syncstatus/rsacrypt.h>
#include <syncstatus/utils.h>

#include <QCoreApplication>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QMetaMethod>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gnu/libc-version.h>
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) Q_UNUSED(name)
#endif

#include <cstdio>

using logEncryption::RsaCrypt;
using systemFileManager::FileManager;
using utility::Utils;

namespace {

template <typename Operation>
void count(const char *name, Operation operation)
{
    operation(); // binds functions, makes what is made on first use
    CALLGRIND_ZERO_STATS;
    operation();
    CALLGRIND_DUMP_STATS_AT(name);
}

void discard(QtMsgType, const QMessageLogContext &, const QString &) {}

void switchLines(bool on)
{
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent=") +
                                     QLatin1String(on ? "true" : "false"));
}

} // namespace

class Subscriber : public QObject
{
    Q_OBJECT

public:
    int received = 0;
};

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    std::printf("%s, Qt %s, glibc %s, %s\n", BUILT_WITH, qVersion(), gnu_get_libc_version(),
                qPrintable(QSysInfo::currentCpuArchitecture()));
    qInstallMessageHandler(discard);

    // The monitor finds no bus. The counted calls need none.
    MonitorNetwork monitor(nullptr);
    Subscriber subscriber;
    QObject::connect(&monitor, &MonitorNetwork::networkStateChange, &subscriber,
                     [&subscriber] { ++subscriber.received; });
    const QMetaMethod onStateChanged =
        monitor.metaObject()->method(monitor.metaObject()->indexOfSlot("onStateChanged(quint32)"));
    const auto getState = [&] { monitor.getNetworkState(); };
    const auto announce = [&] {
        onStateChanged.invoke(&monitor, Qt::DirectConnection, Q_ARG(quint32, 70));
    };

    const QTemporaryDir directory;
    const QString file = directory.filePath(QStringLiteral("file"));
    const QString absent = directory.filePath(QStringLiteral("absent"));
    const QString ini = directory.filePath(QStringLiteral("ini"));
    const QByteArray data(100, 'x');
    FileManager::writeFile(data, file);
    FileManager::writeIniConfigFile({{QStringLiteral("g"), {{QStringLiteral("k"), 1}}}}, ini);
    QJsonDocument document;
    const QByteArray json = R"({"socks": {"host": "proxy.example.com", "port": "1080"}})";
    const QJsonObject proxy = QJsonDocument::fromJson(json).object();
    QTcpSocket socket;

    switchLines(true);
    count("getNetworkState, its line on", getState);
    count("announcement to one subscriber, its line on", announce);
    count("isFileExist of none, its line on", [&] { FileManager::isFileExist(absent); });
    count("parseJson of nothing, its line on", [&] { FileManager::parseJson({}, document); });
    switchLines(false);
    count("getNetworkState, its line off", getState);
    count("announcement to one subscriber, its line off", announce);
    count("isFileExist of none, its line off", [&] { FileManager::isFileExist(absent); });
    count("parseJson of nothing, its line off", [&] { FileManager::parseJson({}, document); });
    count("isFileExist", [&] { FileManager::isFileExist(file); });
    count("checkPath", [&] { FileManager::checkPath(directory.path()); });
    count("writeFile of 100 bytes", [&] { FileManager::writeFile(data, file); });
    count("readFile of 100 bytes", [&] { FileManager::readFile(file); });
    count("readIniConfigFile", [&] {
        FileManager::readIniConfigFile(ini, QStringLiteral("g"), QStringLiteral("k"), QString());
    });
    count("readSettingFile of 1 key",
          [&] { FileManager::readSettingFile(ini, QStringLiteral("g")); });
    count("parseJson", [&] { FileManager::parseJson(json, document); });
    count("parseJsonData", [&] { FileManager::parseJsonData(document); });
    count("isValidIp", [] { Utils::isValidIp(QStringLiteral("192.0.2.1")); });
    count("setSocksNetworkProxy", [&] { Utils::setSocksNetworkProxy(socket, proxy); });
    count("compareUrlIgnoreHttpPrefix", [] {
        Utils::compareUrlIgnoreHttpPrefix(QStringLiteral("http://www.example.com/"),
                                          QStringLiteral("https://www.example.com/"));
    });
    count("getServerDateTime", [] { Utils::getServerDateTime(1'700'000'000); });

    for (const QByteArray &part :
         {QByteArray("-----BEGIN "), QByteArray("-----BEGIN PUBLIC KEY")}) {
        for (const int kilobytes : {100, 1000}) {
            const QByteArray key = part.repeated(kilobytes * 1000 / part.size());
            const auto countWithKey = [&](const char *name, auto operation) {
                const QByteArray whole = QByteArray(name) + " with a key text of \"" + part +
                                         "\", kilobytes: " + QByteArray::number(kilobytes);
                count(whole.constData(), [&] { operation("x", key); });
            };
            countWithKey("rsaPublicKeyEncrypt", RsaCrypt::rsaPublicKeyEncrypt);
            countWithKey("rsaPrivateKeyDecrypt", RsaCrypt::rsaPrivateKeyDecrypt);
            countWithKey("rsaPublicKeyDecrypt", RsaCrypt::rsaPublicKeyDecrypt);
        }
    }
    return 0;
}

#include "countinstructions.moc"

// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// An agent that links the library and also loads it as a plugin: both are the same copy.

#include "logcapture.h"
#include "testprogram.h"

#include <custompluginmanager/custompluginmanager.h>
#include <custompluginmanager/pluginbase.h>
#include <syncstatus/filemanager.h>
#include <syncstatus/monitornetwork.h>
#include <syncstatus/utils.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QSet>
#include <QTcpSocket>
#include <QTest>

#include <utility>

using custompluginmanager::CustomPluginManager;
using custompluginmanager::PluginBase;

namespace {

QSet<QByteArray> mappedFiles(const char *name)
{
    QSet<QByteArray> files;
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        qFatal("/proc/self/maps cannot be read");
    const QList<QByteArray> lines = maps.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const int path = line.indexOf('/');
        if (path >= 0 && line.mid(path).contains(name))
            files.insert(line.mid(path));
    }
    return files;
}

int categories = 0; // of the library's name

void countCategory(QLoggingCategory *category)
{
    if (!qstrcmp(category->categoryName(), "org.corvel.license.agent"))
        ++categories;
}

} // namespace

class TestOneCopy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void pluginFileIsTheLinkedLibrary();
    void monitorIsTheSameFromBothSides();
    void allLinesAreOfOneCategory();
    void registeredObjectLeavesWithThePlugin();

private:
    QPluginLoader m_loader{QStringLiteral(SYNCSTATUS_PLUGIN_FILE)};
    PluginBase *m_plugin = nullptr;
};

void TestOneCopy::initTestCase()
{
    m_plugin = qobject_cast<PluginBase *>(m_loader.instance());
    QVERIFY2(m_plugin, qPrintable(m_loader.errorString()));
    QVERIFY(m_plugin->initialize(nullptr));
    m_plugin->extensionsInitialized();
    QVERIFY(m_plugin->delayedInitialize());
}

void TestOneCopy::cleanupTestCase()
{
    delete m_plugin;
}

void TestOneCopy::pluginFileIsTheLinkedLibrary()
{
    const QSet<QByteArray> files = mappedFiles("libsyncstatus");
    QCOMPARE(files.size(), 1);
    QCOMPARE(QFile::decodeName(*files.begin()), QFileInfo(m_loader.fileName()).canonicalFilePath());
}

void TestOneCopy::monitorIsTheSameFromBothSides()
{
    QObject *const implement =
        CustomPluginManager::getPluginImpByName(QStringLiteral("SyncStatus"));
    QVERIFY(implement);
    QObject *fromPlugin = nullptr;
    QMetaObject::invokeMethod(
        implement, "networkMonitor", Qt::DirectConnection,
        Q_RETURN_ARG(QObject *, fromPlugin)); // clazy:exclude=connect-not-normalized
    QVERIFY(fromPlugin);
    QCOMPARE(fromPlugin, static_cast<QObject *>(MonitorNetwork::getInstance()));
    QCOMPARE(fromPlugin->metaObject(), &MonitorNetwork::staticMetaObject);
    QVERIFY(qobject_cast<MonitorNetwork *>(fromPlugin));
}

void TestOneCopy::allLinesAreOfOneCategory()
{
    LogCapture log;
    m_plugin->extensionsInitialized();
    MonitorNetwork::getInstance()->getNetworkState();
    systemFileManager::FileManager::readFile(QStringLiteral("/nonexistent"));
    QTcpSocket socket;
    utility::Utils::setSocksNetworkProxy(socket, QJsonObject());
    QStringList files;
    const auto records = log.take();
    for (const LogRecord &record : records) {
        QCOMPARE(record.category, QStringLiteral("org.corvel.license.agent"));
        files += QFileInfo(record.file).fileName();
    }
    files.removeDuplicates();
    QCOMPARE(files, QStringList({QStringLiteral("syncstatusplugin.cpp"),
                                 QStringLiteral("monitornetwork.cpp"),
                                 QStringLiteral("filemanager.cpp"), QStringLiteral("utils.cpp")}));
    // Qt calls a new filter for each existing category.
    categories = 0;
    QLoggingCategory::installFilter(QLoggingCategory::installFilter(countCategory));
    QCOMPARE(categories, 1);
}

void TestOneCopy::registeredObjectLeavesWithThePlugin()
{
    const QString name = QStringLiteral("SyncStatus");
    QVERIFY(CustomPluginManager::getPluginImpByName(name));
    delete m_plugin;
    QVERIFY(!CustomPluginManager::getPluginImpByName(name));

    m_plugin = qobject_cast<PluginBase *>(m_loader.instance());
    QVERIFY(m_plugin);
    QVERIFY(!CustomPluginManager::getPluginImpByName(name));
    delete std::exchange(m_plugin, nullptr); // removes an object that was never added
    QVERIFY(!CustomPluginManager::getPluginImpByName(name));
}

SYNCSTATUS_TEST(TestOneCopy)

#include "tst_onecopy.moc"

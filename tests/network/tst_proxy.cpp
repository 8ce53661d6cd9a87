// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "descriptors.h"
#include "logcapture.h"
#include "patience.h"
#include "testprogram.h"

#include <syncstatus/utils.h>

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QNetworkInterface>
#include <QNetworkProxy>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

using utility::Utils;

namespace {

QString success()
{
    return agentWarning(QStringLiteral("network:  Set network proxy success!"));
}
QString emptyData()
{
    return agentWarning(QStringLiteral("network:  Socks network proxy data is empty!"));
}
QString emptyHost()
{
    return agentWarning(QStringLiteral("network:  Socks network proxy host data is empty!"));
}

QJsonObject socks(const QString &host, quint16 port)
{
    return {
        {QStringLiteral("socks"), QJsonObject{{QStringLiteral("host"), host},
                                              {QStringLiteral("port"), QString::number(port)}}}};
}

/// The application-wide proxy for a scope.
class ApplicationProxy
{
public:
    explicit ApplicationProxy(const QNetworkProxy &proxy)
    {
        QNetworkProxy::setApplicationProxy(proxy);
    }
    ~ApplicationProxy() { QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy); }
    Q_DISABLE_COPY(ApplicationProxy)
};

/// Notes a socket's proxy whenever a line is written.
class ProxyWatch
{
public:
    explicit ProxyWatch(const QTcpSocket &socket) : m_socket(socket)
    {
        s_watch = this;
        m_previous =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {
                s_watch->m_seen.append(s_watch->m_socket.proxy());
            });
    }
    ~ProxyWatch() { qInstallMessageHandler(m_previous); }
    Q_DISABLE_COPY(ProxyWatch)

    [[nodiscard]] QVector<QNetworkProxy> seen() const { return m_seen; }

private:
    static inline ProxyWatch *s_watch = nullptr;
    const QTcpSocket &m_socket;
    QVector<QNetworkProxy> m_seen;
    QtMessageHandler m_previous;
};

/// An address of this machine that is not loopback, or a null one. Qt uses the application-wide
/// proxy for it, but not for loopback.
QHostAddress ownAddress()
{
    const QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    for (const QHostAddress &address : addresses) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            return address;
    }
    return {};
}

quint16 unusedPort()
{
    QTcpServer server;
    server.setProxy(QNetworkProxy::NoProxy);
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

/// A TCP service that answers one line with "answer to " and that line.
class Service
{
public:
    explicit Service(const QHostAddress &address)
    {
        m_server.setProxy(QNetworkProxy::NoProxy);
        m_server.listen(address);
    }

    [[nodiscard]] quint16 port() const { return m_server.serverPort(); }

    bool connect(QTcpSocket &socket)
    {
        socket.connectToHost(m_server.serverAddress(), port());
        return socket.waitForConnected(patience);
    }

    /// Lets \a socket connect, ask and read the answer. Its errors end up in the result.
    QString talk(QTcpSocket &socket)
    {
        return connect(socket) ? ask(socket) : socket.errorString();
    }

    /// The same for a socket that has been connected.
    QString ask(QTcpSocket &socket)
    {
        socket.write("question\n");
        if (!socket.waitForBytesWritten(patience) || !m_server.waitForNewConnection(patience))
            return socket.errorString();
        const QScopedPointer<QTcpSocket> peer(m_server.nextPendingConnection());
        while (!peer->canReadLine()) {
            if (!peer->waitForReadyRead(patience))
                return peer->errorString();
        }
        peer->write("answer to " + peer->readLine());
        if (!peer->waitForBytesWritten(patience))
            return peer->errorString();
        while (!socket.canReadLine()) {
            if (!socket.waitForReadyRead(patience))
                return socket.errorString();
        }
        return QString::fromLatin1(socket.readLine());
    }

private:
    QTcpServer m_server;
};

/// A real SOCKS server (microsocks) on loopback.
class SocksServer
{
public:
    static QString program()
    {
        return QStandardPaths::findExecutable(QStringLiteral("microsocks"));
    }

    ~SocksServer() { stop(); }

    bool start()
    {
        // Somebody else may take the port before the server does.
        for (int attempt = 0; attempt < 5; ++attempt) {
            if (startOn(unusedPort()))
                return true;
        }
        return false;
    }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(10000)) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    [[nodiscard]] quint16 port() const { return m_port; }

    /// How many connections to \a port it has made for its clients.
    [[nodiscard]] int connectionsTo(quint16 port) const
    {
        // As in "client[4] 127.0.0.1: connected to ADDRESS:PORT".
        int count = 0;
        const QList<QByteArray> lines = log().split('\n');
        for (const QByteArray &line : lines)
            count +=
                line.contains(": connected to ") && line.endsWith(':' + QByteArray::number(port));
        return count;
    }

    [[nodiscard]] QByteArray log() const
    {
        QFile file(m_dir.filePath(QStringLiteral("log")));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    bool startOn(quint16 port)
    {
        m_port = port;
        m_process.setStandardErrorFile(m_dir.filePath(QStringLiteral("log")));
        m_process.start(program(), {QStringLiteral("-i"), QStringLiteral("127.0.0.1"),
                                    QStringLiteral("-p"), QString::number(port)});
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 20000) {
            if (m_process.waitForFinished(50)) // also the pause between two tries
                return false;
            if (answers())
                return true;
        }
        stop();
        return false;
    }

    [[nodiscard]] bool answers() const
    {
        QTcpSocket probe;
        probe.setProxy(QNetworkProxy::NoProxy);
        probe.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
        return probe.waitForConnected(1000);
    }

    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};

} // namespace

class TestProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSocksHostGivesAProxy_data();
    void aSocksHostGivesAProxy();
    void withoutASocksHostThereIsNoProxy_data();
    void withoutASocksHostThereIsNoProxy();
    void theProxyIsSetWhenTheLineIsWritten();
    void onlyTheSocketIsChanged();
    void descriptorsAreNotNeeded();
    void linesAreWrittenOnlyWhenTheLevelIsOn();
    void theProxyResolvesNames();

    void aSocketTalksThroughTheServer();
    void aSocketWithNoProxyTalksDirectlyDespiteTheApplicationProxy();
    void theSocketsProxyPrecedesTheApplicationProxy();
    void portZeroConnectsNowhere();
    void anOpenConnectionIsKept();

private:
    static void expectProxy(const QString &json, QNetworkProxy::ProxyType type, const QString &host,
                            int port, const QString &line);
};

void TestProxy::aSocksHostGivesAProxy_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");

    QTest::newRow("host and port") << R"({"socks":{"host":"proxy.example","port":"1080"}})"
                                   << "proxy.example" << 1080;
    QTest::newRow("address") << R"({"socks":{"host":"127.0.0.1","port":"9050"}})"
                             << "127.0.0.1" << 9050;
    QTest::newRow("a host beyond ASCII")
        << R"({"socks":{"host":"pr\u00f6xy","port":"1"}})" << QStringLiteral("pr\u00f6xy") << 1;
    QTest::newRow("a blank is a host") << R"({"socks":{"host":" ","port":"1"}})"
                                       << " " << 1;
    QTest::newRow("port missing") << R"({"socks":{"host":"proxy.example"}})"
                                  << "proxy.example" << 0;
    QTest::newRow("port's name in upper case")
        << R"({"socks":{"host":"proxy.example","PORT":"1080"}})"
        << "proxy.example" << 0;
    QTest::newRow("other keys are ignored")
        << R"({"http":{"host":"a","port":"1"},"type":"http","user":"u",
               "socks":{"host":"proxy.example","port":"1080","user":"u","password":"p",
                        "type":"http"}})"
        << "proxy.example" << 1080;

    const auto port = [](const char *name, const char *json, int expected) {
        QTest::newRow(name)
            << QStringLiteral(R"({"socks":{"host":"proxy.example","port":%1}})").arg(json)
            << "proxy.example" << expected;
    };
    port("lowest port", R"("0")", 0);
    port("highest port", R"("65535")", 65535);
    port("leading zeros", R"("0001080")", 1080);
    port("white space around the port", R"(" \t1080\n")", 1080);
    port("a plus sign before the port", R"("+1080")", 1080);
    port("white space in the port", R"("10 80")", 0);
    port("a separator in the port", R"("1,080")", 0);
    port("a white space for a port", R"(" ")", 0);
    port("port too high", R"("65536")", 0);
    port("port far too high", R"("4295018576")", 0);
    port("port negative", R"("-1")", 0);
    port("port hexadecimal", R"("0x438")", 0);
    port("port with a fraction", R"("1080.0")", 0);
    port("port with text", R"("1080a")", 0);
    port("port of text", R"("socks")", 0);
    port("port empty", R"("")", 0);
    port("port as a number", "1080", 0);
    port("port null", "null", 0);
    port("port as a list", R"(["1080"])", 0);
}

void TestProxy::aSocksHostGivesAProxy()
{
    QFETCH(QString, json);
    QFETCH(QString, host);
    QFETCH(int, port);
    expectProxy(json, QNetworkProxy::Socks5Proxy, host, port, success());
}

void TestProxy::withoutASocksHostThereIsNoProxy_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("line");

    const auto row = [](const char *name, const char *json, const QString &line) {
        QTest::newRow(name) << json << line;
    };
    row("empty", "{}", emptyData());
    row("no socks", R"({"http":{"host":"proxy.example","port":"1080"}})", emptyData());
    row("socks in upper case", R"({"SOCKS":{"host":"proxy.example","port":"1080"}})", emptyData());
    row("host and port outside", R"({"host":"proxy.example","port":"1080"})", emptyData());
    row("socks empty", R"({"socks":{}})", emptyData());
    row("socks null", R"({"socks":null})", emptyData());
    row("socks a text", R"({"socks":"proxy.example:1080"})", emptyData());
    row("socks a list", R"({"socks":[{"host":"proxy.example","port":"1080"}]})", emptyData());
    row("socks a number", R"({"socks":1})", emptyData());
    row("host missing", R"({"socks":{"port":"1080"}})", emptyHost());
    row("host in upper case", R"({"socks":{"HOST":"proxy.example","port":"1080"}})", emptyHost());
    row("host empty", R"({"socks":{"host":"","port":"1080"}})", emptyHost());
    row("host null", R"({"socks":{"host":null,"port":"1080"}})", emptyHost());
    row("host a number", R"({"socks":{"host":1,"port":"1080"}})", emptyHost());
    row("host an object", R"({"socks":{"host":{"host":"a"},"port":"1080"}})", emptyHost());
}

void TestProxy::withoutASocksHostThereIsNoProxy()
{
    QFETCH(QString, json);
    QFETCH(QString, line);
    expectProxy(json, QNetworkProxy::NoProxy, QString(), 0, line);
}

// Whatever the socket had before.
void TestProxy::expectProxy(const QString &json, QNetworkProxy::ProxyType type, const QString &host,
                            int port, const QString &line)
{
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8());
    QVERIFY(document.isObject());
    const QNetworkProxy before[] = {
        QNetworkProxy(QNetworkProxy::DefaultProxy), QNetworkProxy(QNetworkProxy::NoProxy),
        QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("old"), 1, QStringLiteral("user"),
                      QStringLiteral("password"))};
    for (const QNetworkProxy &old : before) {
        QTcpSocket socket;
        socket.setProxy(old);
        LogCapture log;
        Utils::setSocksNetworkProxy(socket, document.object());
        QCOMPARE(log.takeLines(), QStringList{line});
        QCOMPARE(socket.proxy().type(), type);
        QCOMPARE(socket.proxy().hostName(), host);
        QCOMPARE(int(socket.proxy().port()), port);
        QCOMPARE(socket.proxy().user(), QString());
        QCOMPARE(socket.proxy().password(), QString());
        QCOMPARE(socket.state(), QAbstractSocket::UnconnectedState);
    }
}

void TestProxy::theProxyIsSetWhenTheLineIsWritten()
{
    const QString host = QStringLiteral("proxy.example");
    for (const QJsonObject &config :
         {socks(host, 1080), QJsonObject(), QJsonObject{{QStringLiteral("socks"), QJsonObject()}},
          socks(QString(), 1080)}) {
        QTcpSocket socket;
        socket.setProxy(QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("old"), 1));
        const ProxyWatch watch(socket);
        Utils::setSocksNetworkProxy(socket, config);
        QCOMPARE(watch.seen(), QVector<QNetworkProxy>{socket.proxy()});
        QVERIFY(socket.proxy().type() != QNetworkProxy::HttpProxy);
    }
}

void TestProxy::onlyTheSocketIsChanged()
{
    const QNetworkProxy application(QNetworkProxy::HttpProxy, QStringLiteral("app"), 2);
    const ApplicationProxy scope(application);
    QTcpSocket socket;
    QTcpSocket other;
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("proxy.example"), 1080));
    QCOMPARE(QNetworkProxy::applicationProxy(), application);
    QCOMPARE(other.proxy().type(), QNetworkProxy::DefaultProxy);
    Utils::setSocksNetworkProxy(socket, {});
    QCOMPARE(QNetworkProxy::applicationProxy(), application);
    QCOMPARE(other.proxy().type(), QNetworkProxy::DefaultProxy);
}

void TestProxy::descriptorsAreNotNeeded()
{
    const int before = openDescriptors();
    QTcpSocket socket;
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    {
        const DescriptorShortage shortage;
        Utils::setSocksNetworkProxy(
            socket, {{QStringLiteral("socks"),
                      QJsonObject{{QStringLiteral("host"), QStringLiteral("proxy.example")},
                                  {QStringLiteral("port"), QStringLiteral("1080")}}}});
    }
    QVERIFY(timer.elapsed() < 10000); // no time-out, on however busy a machine
    QCOMPARE(log.takeLines(),
             QStringList{agentWarning(QStringLiteral("network:  Set network proxy success!"))});
    QCOMPARE(socket.proxy().hostName(), QStringLiteral("proxy.example"));
    QCOMPARE(socket.proxy().port(), quint16(1080));
    QCOMPARE(openDescriptors(), before);
}

void TestProxy::linesAreWrittenOnlyWhenTheLevelIsOn()
{
    LogCapture log;
    QTcpSocket socket;
    QTcpSocket direct;
    QTcpSocket hostless;
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.warning=false"));
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("proxy.example"), 1080));
    Utils::setSocksNetworkProxy(direct, {});
    Utils::setSocksNetworkProxy(hostless, socks(QString(), 1080));
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(log.takeLines(), QStringList());
    QCOMPARE(socket.proxy().type(), QNetworkProxy::Socks5Proxy);
    QCOMPARE(socket.proxy().hostName(), QStringLiteral("proxy.example"));
    QCOMPARE(socket.proxy().port(), quint16(1080));
    QCOMPARE(direct.proxy().type(), QNetworkProxy::NoProxy);
    QCOMPARE(hostless.proxy().type(), QNetworkProxy::NoProxy);
}

void TestProxy::theProxyResolvesNames()
{
    QTcpSocket socket;
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("proxy.example"), 1080));
    QVERIFY(socket.proxy().capabilities() & QNetworkProxy::HostNameLookupCapability);
}

#define SKIP_WITHOUT_SERVER                                                                        \
    if (SocksServer::program().isEmpty())                                                          \
    QSKIP("microsocks is not installed")

void TestProxy::aSocketTalksThroughTheServer()
{
    SKIP_WITHOUT_SERVER;
    Service service(QHostAddress::LocalHost);
    SocksServer server;
    QVERIFY2(server.start(), server.log().constData());
    QTcpSocket socket;
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("127.0.0.1"), server.port()));
    QCOMPARE(service.talk(socket), QStringLiteral("answer to question\n"));
    QTRY_COMPARE(server.connectionsTo(service.port()), 1);

    // Without the server the same socket does not connect.
    socket.abort();
    server.stop();
    QVERIFY(service.talk(socket) != QStringLiteral("answer to question\n"));
    QCOMPARE(socket.error(), QAbstractSocket::ProxyConnectionRefusedError);
}

void TestProxy::aSocketWithNoProxyTalksDirectlyDespiteTheApplicationProxy()
{
    SKIP_WITHOUT_SERVER;
    const QHostAddress address = ownAddress();
    if (address.isNull())
        QSKIP("this machine has no address but loopback");
    Service service(address);
    SocksServer server;
    QVERIFY2(server.start(), server.log().constData());
    const ApplicationProxy scope(
        QNetworkProxy(QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), server.port()));
    // The application-wide proxy is in force: a plain socket goes through it.
    QTcpSocket plain;
    QCOMPARE(service.talk(plain), QStringLiteral("answer to question\n"));
    QTRY_COMPARE(server.connectionsTo(service.port()), 1);

    for (const QJsonObject &config :
         {QJsonObject(), QJsonObject{{QStringLiteral("socks"), QJsonObject()}},
          socks(QString(), 1080)}) {
        QTcpSocket direct;
        Utils::setSocksNetworkProxy(direct, config);
        QCOMPARE(service.talk(direct), QStringLiteral("answer to question\n"));
    }
    // Once the server has logged one more plain socket, it has logged all before.
    QTcpSocket last;
    QCOMPARE(service.talk(last), QStringLiteral("answer to question\n"));
    QTRY_VERIFY(server.connectionsTo(service.port()) >= 2);
    QCOMPARE(server.connectionsTo(service.port()), 2);

    // Without the server only a socket with no proxy still talks.
    server.stop();
    QTcpSocket lost;
    QVERIFY(service.talk(lost) != QStringLiteral("answer to question\n"));
    QCOMPARE(lost.error(), QAbstractSocket::ProxyConnectionRefusedError);
    QTcpSocket direct;
    Utils::setSocksNetworkProxy(direct, {});
    QCOMPARE(service.talk(direct), QStringLiteral("answer to question\n"));
}

void TestProxy::theSocketsProxyPrecedesTheApplicationProxy()
{
    SKIP_WITHOUT_SERVER;
    const QHostAddress address = ownAddress();
    if (address.isNull())
        QSKIP("this machine has no address but loopback");
    Service service(address);
    SocksServer server;
    QVERIFY2(server.start(), server.log().constData());
    const ApplicationProxy scope(
        QNetworkProxy(QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), unusedPort()));
    QTcpSocket socket;
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("127.0.0.1"), server.port()));
    QCOMPARE(service.talk(socket), QStringLiteral("answer to question\n"));
    QTRY_COMPARE(server.connectionsTo(service.port()), 1);
}

void TestProxy::portZeroConnectsNowhere()
{
    Service service(QHostAddress::LocalHost);
    QTcpSocket socket;
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("127.0.0.1"), 0));
    QVERIFY(service.talk(socket) != QStringLiteral("answer to question\n"));
    QCOMPARE(socket.state(), QAbstractSocket::UnconnectedState);
}

void TestProxy::anOpenConnectionIsKept()
{
    Service service(QHostAddress::LocalHost);
    QTcpSocket socket;
    QVERIFY(service.connect(socket));
    Utils::setSocksNetworkProxy(socket, socks(QStringLiteral("127.0.0.1"), unusedPort()));
    QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
    QCOMPARE(service.ask(socket), QStringLiteral("answer to question\n"));

    // Only the next connection goes to the proxy, of which there is none.
    socket.abort();
    QVERIFY(service.talk(socket) != QStringLiteral("answer to question\n"));
    QCOMPARE(socket.error(), QAbstractSocket::ProxyConnectionRefusedError);
}

SYNCSTATUS_TEST(TestProxy)
#include "tst_proxy.moc"

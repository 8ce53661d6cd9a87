// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// An agent whose code links the library and that loads it as a plugin too: the two are one.

#include <custompluginmanager/custompluginmanager.h>
#include <custompluginmanager/pluginbase.h>
#include <syncstatus/monitornetwork.h>

#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QPluginLoader>
#include <QSet>
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

} // namespace

class OneCopyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void pluginFileIsTheLinkedLibrary();
    void monitorIsTheSameFromBothSides();
    void registeredObjectLeavesWithThePlugin();

private:
    QPluginLoader m_loader{QStringLiteral(SYNCSTATUS_PLUGIN_FILE)};
    PluginBase *m_plugin = nullptr;
};

void OneCopyTest::initTestCase()
{
    m_plugin = qobject_cast<PluginBase *>(m_loader.instance());
    QVERIFY2(m_plugin, qPrintable(m_loader.errorString()));
    QVERIFY(m_plugin->initialize(nullptr));
    m_plugin->extensionsInitialized();
    QVERIFY(m_plugin->delayedInitialize());
}

void OneCopyTest::cleanupTestCase()
{
    delete m_plugin;
}

void OneCopyTest::pluginFileIsTheLinkedLibrary()
{
    const QSet<QByteArray> files = mappedFiles("libsyncstatus");
    QCOMPARE(files.size(), 1);
    QCOMPARE(QFile::decodeName(*files.begin()), QFileInfo(m_loader.fileName()).canonicalFilePath());
}

void OneCopyTest::monitorIsTheSameFromBothSides()
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

void OneCopyTest::registeredObjectLeavesWithThePlugin()
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

QTEST_GUILESS_MAIN(OneCopyTest)

#include "tst_onecopy.moc"

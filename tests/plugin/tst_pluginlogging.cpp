// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginfixture.h"
#include "testprogram.h"

#include <QFile>
#include <QLibraryInfo>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTest>

using custompluginmanager::PluginBase;

// The library's lines and their category.
class TestPluginLogging : public PluginFixture
{
    Q_OBJECT

private Q_SLOTS:
    void linesCarryFileLineAndFunction();
    void withDebugOffOnlyTheWarningIsWritten();
    void withEverythingOffNothingIsWrittenAndResultsStay();
    void loggingCategoryIsMadeByTheFirstLine();
    void everyLevelIsOnUnlessARuleSaysOtherwise();
    void loggingCategoryIsGoneAfterUnloading();
};

void TestPluginLogging::linesCarryFileLineAndFunction()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QObject service;
    plugin->initialize(nullptr);
    plugin->extensionsInitialized();
    barehost::setServicePlugin(&service);
    plugin->extensionsInitialized();
    plugin->delayedInitialize();

    const QVector<LogRecord> records = m_log->take();
    const QStringList functions{"initialize",
                                "extensionsInitialized",
                                "extensionsInitialized",
                                "extensionsInitialized",
                                "extensionsInitialized",
                                "delayedInitialize"};
    QCOMPARE(records.size(), functions.size());
    for (int i = 0; i < records.size(); ++i) {
        // Relative to the source tree, in whatever folder the library was built.
        QCOMPARE(records.at(i).file,
                 QStringLiteral("src/agent/plugins/system/syncstatus/syncstatusplugin.cpp"));
        QVERIFY(records.at(i).line > 0);
        const QString function =
            QLatin1String("syncstatus::SyncStatusPlugin::") + functions.at(i) + QLatin1Char('(');
        QVERIFY2(records.at(i).function.contains(function), qPrintable(records.at(i).function));
    }
}

void TestPluginLogging::withDebugOffOnlyTheWarningIsWritten()
{
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.debug=false"));
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
    plugin->extensionsInitialized();
    QVERIFY(plugin->delayedInitialize());
    QCOMPARE(m_log->takeLines(), QStringList({agentWarning("codestack:  serviceObject is empty")}));
}

void TestPluginLogging::withEverythingOffNothingIsWrittenAndResultsStay()
{
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent=false"));
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->initialize(nullptr));
    plugin->extensionsInitialized();
    QVERIFY(plugin->delayedInitialize());
    QCOMPARE(barehost::takeCalls(),
             QStringList({QStringLiteral("instance"), callOf("add"), QStringLiteral("instance"),
                          QStringLiteral("find \"ServicePlugin\"")}));
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestPluginLogging::loggingCategoryIsMadeByTheFirstLine()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QCOMPARE(categoriesMade.ours.load(), 0);
    categoriesMade.others = 0;
    plugin->delayedInitialize();
    QCOMPARE(categoriesMade.ours.load(), 1);
    plugin->extensionsInitialized();
    plugin->initialize(nullptr);
    QCOMPARE(categoriesMade.ours.load(), 1);
    QCOMPARE(categoriesMade.others.load(), 0);
}

void TestPluginLogging::everyLevelIsOnUnlessARuleSaysOtherwise()
{
    QLoggingCategory::setFilterRules(QString());
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->delayedInitialize();
    QVERIFY(categoriesMade.writesInfo);
    const QString rules = QStringLiteral("qtlogging.ini");
    if (QFile::exists(QLibraryInfo::location(QLibraryInfo::DataPath) + QLatin1Char('/') + rules) ||
        !QStandardPaths::locate(QStandardPaths::GenericConfigLocation,
                                QLatin1String("QtProject/") + rules)
             .isEmpty())
        QSKIP("a configuration file of Qt's may switch debug lines off");
    QVERIFY(categoriesMade.writesDebug);
}

void TestPluginLogging::loggingCategoryIsGoneAfterUnloading()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->delayedInitialize();
    QVERIFY(m_loader->unload());
    categoriesMade.ours = 0;
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=true")); // visits every category
    QCOMPARE(categoriesMade.ours.load(), 0);
}

SYNCSTATUS_TEST(TestPluginLogging)

#include "tst_pluginlogging.moc"

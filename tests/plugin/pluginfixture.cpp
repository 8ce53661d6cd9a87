// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginfixture.h"

#include <QLoggingCategory>
#include <QTest>

using custompluginmanager::PluginBase;

CategoriesMade categoriesMade;

namespace {

QLoggingCategory::CategoryFilter defaultFilter = nullptr;

// Qt runs the filter once for each category that is made.
void countCategory(QLoggingCategory *made)
{
    defaultFilter(made);
    if (qstrcmp(made->categoryName(), "org.corvel.license.agent") == 0) {
        ++categoriesMade.ours;
        categoriesMade.writesDebug = made->isDebugEnabled();
        categoriesMade.writesInfo = made->isInfoEnabled();
    } else {
        ++categoriesMade.others;
    }
}

} // namespace

QString pluginFile()
{
    return QStringLiteral(SYNCSTATUS_PLUGIN_FILE);
}

PluginBase *PluginFixture::load()
{
    auto *const plugin = qobject_cast<PluginBase *>(m_loader->instance());
    if (!plugin)
        qCritical() << m_loader->errorString();
    return plugin;
}

QString PluginFixture::callOf(const char *operation)
{
    return QLatin1String(operation) +
           QStringLiteral(" syncstatus::internal::SyncStatusImplement \"SyncStatus\"");
}

void PluginFixture::initTestCase()
{
    defaultFilter = QLoggingCategory::installFilter(nullptr);
    QLoggingCategory::installFilter(countCategory);
}

void PluginFixture::init()
{
    QVERIFY2(!barehost::isMapped("libsyncstatus"), "the library is there before it is loaded");
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.debug=true"));
    barehost::takeCalls();
    barehost::setServicePlugin(nullptr);
    categoriesMade.ours = 0;
    m_log.reset(new LogCapture);
    m_loader.reset(new QPluginLoader(pluginFile()));
    m_loader->setLoadHints({});
    m_library.reset(new QLibrary(pluginFile()));
}

void PluginFixture::cleanup()
{
    QLoggingCategory::setFilterRules(QString());
    m_log.reset();
    m_library->unload();
    m_loader->unload();
    QVERIFY2(!barehost::isMapped("libsyncstatus"), "something of the library stays mapped");
}

#include "moc_pluginfixture.cpp"

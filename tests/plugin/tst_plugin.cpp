// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// The plugin as a host sees it that knows nothing but the binary interface: loaded, driven and
// deleted through QPluginLoader, in a process that has the framework in its executable.

#include "atonce.h"
#include "barehost.h"
#include "logcapture.h"

#include <QFile>
#include <QJsonObject>
#include <QLibrary>
#include <QLibraryInfo>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QPointer>
#include <QScopedPointer>
#include <QStandardPaths>
#include <QTest>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

using custompluginmanager::PluginBase;

namespace {

const QString pluginFile = QStringLiteral(SYNCSTATUS_PLUGIN_FILE);
const char category[] = "org.corvel.license.agent";
const char implementClass[] = "syncstatus::internal::SyncStatusImplement";

QString call(const char *verb)
{
    return QLatin1String(verb) + QLatin1Char(' ') + QLatin1String(implementClass) +
           QLatin1String(" \"SyncStatus\"");
}

std::atomic<int> categoriesMade{0};
std::atomic<int> otherCategoriesMade{0};
// As the category is made, with no rules but those of Qt's configuration files.
std::atomic<bool> writesDebug{false};
std::atomic<bool> writesInfo{false};
QLoggingCategory::CategoryFilter defaultFilter = nullptr;

// Qt runs the filter once for each category that is made.
void countCategories(QLoggingCategory *made)
{
    defaultFilter(made);
    if (qstrcmp(made->categoryName(), category) == 0) {
        ++categoriesMade;
        writesDebug = made->isDebugEnabled();
        writesInfo = made->isInfoEnabled();
    } else {
        ++otherCategoriesMade;
    }
}

// A plugin of the host's own, which overrides what it must.
class HostsPlugin : public PluginBase
{
public:
    bool initialize(QString *) override { return false; }
    void extensionsInitialized() override {}
    bool delayedInitialize() override { return false; }
    bool verify(QByteArray &) override { return false; }
    QList<QCommandLineOption> commandOptions() override { return {}; }
    bool parseArgumentOptions(const QStringList &) override { return false; }
};

// The addresses of an object's virtual operations, as the C++ ABI of GNU/Linux lays them out.
std::vector<const void *> virtualOperations(const QObject *object, int first, int last)
{
    const void *const *table = nullptr;
    memcpy(&table, static_cast<const void *>(object), sizeof table);
    return std::vector<const void *>(table + first, table + last + 1);
}

} // namespace

class PluginTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void metadataIsReadWithoutLoading();
    void metadataIsThatOfTheHostsInterface();
    void metadataObjectHasItsFiveEntriesWithTheirTypes();
    void entryPointsAreCCallable();

    void twoCallsGiveOnePluginObject();
    void threadsThatTakeTurnsGetOnePluginObject();
    void afterDeletionTheNextCallGivesAFreshPluginObject();
    void unloadingLeavesThePluginObjectToTheHost();
    void pluginObjectIsMadeWithoutRegistering();
    void pluginObjectOwnsAPrivatePartThatStartsWithTheImplementationObject();

    void metaObjectHasAClassNameAndNothingElse();
    void overridesNoMoreThanItHasTo();
    void castsAnswerByClassName();
    void metaCallsAreForwardedUnchanged();

    void initializeRegistersAndThenWritesOneLine();
    void initializeLeavesTheErrorStringAlone();
    void initializeAcceptsANullErrorString();
    void initializeTwiceRegistersTwice();
    void extensionsInitializedWarnsWithoutServicePlugin();
    void extensionsInitializedFindsServicePlugin();
    void delayedInitializeOnlyWritesALine();
    void wholeLifeHasOneOrderOfCallsAndLines_data();
    void wholeLifeHasOneOrderOfCallsAndLines();
    void operationsWorkInAnyOrder();
    void defaultsComeWithThePlugin();
    void shutdownIsTheHosts();

    void linesCarryFileLineAndFunction();
    void withDebugOffOnlyTheWarningIsWritten();
    void withEverythingOffNothingIsWrittenAndResultsStay();
    void loggingCategoryIsMadeByTheFirstLine();
    void everyLevelIsOnUnlessARuleSaysOtherwise();
    void firstLinesFromSeveralThreadsMakeOneCategory();
    void loggingCategoryIsGoneAfterUnloading();

    void deletionRemovesThenDestroysTheImplementationObject();
    void deletionWithoutInitializeStillRemoves();

    void implementationObjectIsAParentlessQObjectNamedSyncStatus();
    void implementationObjectOffersTwoInvokableOperations();
    void nothingMakesTheMonitorBeforeItIsAskedFor();

    void hostNeedsNeitherFrameworkLibraryNorLibcrypto();

private:
    PluginBase *load();

    QScopedPointer<QPluginLoader> m_loader;
    QScopedPointer<QLibrary> m_library; // the same file, for its entry points
    QScopedPointer<LogCapture> m_log;
};

void PluginTest::initTestCase()
{
    defaultFilter = QLoggingCategory::installFilter(nullptr);
    QLoggingCategory::installFilter(countCategories);
}

void PluginTest::init()
{
    QVERIFY2(!barehost::isMapped("libsyncstatus"), "the library is there before it is loaded");
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.debug=true"));
    barehost::takeCalls();
    barehost::setServicePlugin(nullptr);
    categoriesMade = 0;
    m_log.reset(new LogCapture);
    m_loader.reset(new QPluginLoader(pluginFile));
    m_loader->setLoadHints({});
    m_library.reset(new QLibrary(pluginFile));
}

void PluginTest::cleanup()
{
    QLoggingCategory::setFilterRules(QString());
    m_log.reset();
    m_library->unload();
    m_loader->unload();
    QVERIFY2(!barehost::isMapped("libsyncstatus"), "something of the library stays mapped");
}

PluginBase *PluginTest::load()
{
    auto *const plugin = qobject_cast<PluginBase *>(m_loader->instance());
    if (!plugin)
        qCritical() << m_loader->errorString();
    return plugin;
}

void PluginTest::metadataIsReadWithoutLoading()
{
    QVERIFY(!m_loader->metaData().isEmpty());
    QVERIFY(!m_loader->isLoaded());
    QVERIFY(!barehost::isMapped("libsyncstatus"));
}

void PluginTest::metadataIsThatOfTheHostsInterface()
{
    const QJsonObject metadata = m_loader->metaData();
    QCOMPARE(metadata.value(QLatin1String("IID")),
             QJsonValue(QLatin1String("com.tav.Keldrin.TAVKeldrinPlugin")));
    QCOMPARE(metadata.value(QLatin1String("className")),
             QJsonValue(QLatin1String("SyncStatusPlugin")));
    QStringList keys = metadata.keys();
    keys.removeAll(QStringLiteral("archreq")); // which newer releases of Qt add
    QCOMPARE(keys.join(QLatin1Char(' ')), QStringLiteral("IID MetaData className debug version"));
    // Newer releases of Qt leave out the patch number.
    QCOMPARE(metadata.value(QLatin1String("version")).toInt() & ~0xff, QT_VERSION & ~0xff);
    // True for the build type Debug alone, and never in what ships.
    QCOMPARE(metadata.value(QLatin1String("debug")), QJsonValue(bool(DEBUG_BUILD)));
}

void PluginTest::metadataObjectHasItsFiveEntriesWithTheirTypes()
{
    const QJsonObject expected{
        {QStringLiteral("Name"), QStringLiteral("SyncStatus")},
        {QStringLiteral("Version"), QStringLiteral("1.0.0")},
        {QStringLiteral("DisabledByDefault"), false},
        {QStringLiteral("Category"), QStringLiteral("Core")},
        {QStringLiteral("Description"), QStringLiteral("sync status plugin.")},
    };
    QCOMPARE(m_loader->metaData().value(QLatin1String("MetaData")), QJsonValue(expected));
}

void PluginTest::entryPointsAreCCallable()
{
    const auto query =
        reinterpret_cast<const char *(*)()>(m_library->resolve("qt_plugin_query_metadata"));
    const auto instance =
        reinterpret_cast<QObject *(*)()>(m_library->resolve("qt_plugin_instance"));
    QVERIFY(query);
    QVERIFY(instance);
    QVERIFY(QByteArray(query()).startsWith("QTMETADATA "));
    QObject *const plugin = instance();
    QVERIFY(plugin);
    QCOMPARE(plugin, m_loader->instance());
}

void PluginTest::twoCallsGiveOnePluginObject()
{
    QObject *const plugin = m_loader->instance();
    QVERIFY(plugin);
    QCOMPARE(m_loader->instance(), plugin);
    QPluginLoader other(pluginFile);
    QObject *const fromOther = other.instance();
    other.unload();
    QCOMPARE(fromOther, plugin);
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
}

void PluginTest::threadsThatTakeTurnsGetOnePluginObject()
{
    const auto instance =
        reinterpret_cast<QObject *(*)()>(m_library->resolve("qt_plugin_instance"));
    QVERIFY(instance);
    std::array<QObject *, 8> got{};
    std::mutex turn; // the host's business: nothing else keeps two first calls apart
    atOnce(int(got.size()), [&](int thread) {
        const std::lock_guard locker(turn);
        got[size_t(thread)] = instance();
    });
    const QScopedPointer<QObject> plugin(got[0]);
    QVERIFY(plugin);
    for (const QObject *object : got)
        QCOMPARE(object, plugin.data());
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
}

void PluginTest::afterDeletionTheNextCallGivesAFreshPluginObject()
{
    PluginBase *const first = load();
    QVERIFY(first);
    first->initialize(nullptr);
    const QPointer<QObject> firstImplement = barehost::lastImplement();
    QVERIFY(firstImplement);
    delete first;
    QVERIFY(!firstImplement);
    barehost::takeCalls();

    PluginBase *const second = load();
    QVERIFY(second);
    QVERIFY(second->initialize(nullptr));
    QCOMPARE(barehost::takeCalls(),
             QStringList({QStringLiteral("PluginBase"), QStringLiteral("instance"), call("add")}));
    QCOMPARE(barehost::lastImplement()->objectName(), QStringLiteral("SyncStatus"));
}

void PluginTest::unloadingLeavesThePluginObjectToTheHost()
{
    const auto instance =
        reinterpret_cast<QObject *(*)()>(m_library->resolve("qt_plugin_instance"));
    QVERIFY(instance);
    // Of no use without its code. Held where a compiler and a leak checker see it.
    static QObject *volatile left;
    left = instance();
    QVERIFY(left);
    QVERIFY(m_library->unload());
    QVERIFY(!barehost::isMapped("libsyncstatus"));
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
}

void PluginTest::pluginObjectIsMadeWithoutRegistering()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(!plugin->parent());
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
    QCOMPARE(m_log->takeLines(), QStringList());
}

void PluginTest::pluginObjectOwnsAPrivatePartThatStartsWithTheImplementationObject()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
    // The scoped pointer is the only data member: it stands right behind the base.
    void *privatePart = nullptr;
    memcpy(&privatePart, reinterpret_cast<const char *>(plugin) + sizeof(PluginBase),
           sizeof privatePart);
    QCOMPARE(privatePart, static_cast<void *>(barehost::lastImplement()));
}

void PluginTest::metaObjectHasAClassNameAndNothingElse()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    const QMetaObject *const meta = plugin->metaObject();
    QCOMPARE(meta->className(), "syncstatus::SyncStatusPlugin");
    QCOMPARE(meta->superClass(), &PluginBase::staticMetaObject);
    QCOMPARE(meta->methodCount(), meta->methodOffset());
    QCOMPARE(meta->propertyCount(), meta->propertyOffset());
    QCOMPARE(meta->enumeratorCount(), meta->enumeratorOffset());
    QCOMPARE(meta->classInfoCount(), meta->classInfoOffset());
    QCOMPARE(meta->constructorCount(), 0);
}

void PluginTest::overridesNoMoreThanItHasTo()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    // Behind the meta-object's three operations and the destructor's two entries.
    enum { Event = 5, DisconnectNotify = 11, Initialize = 12, AboutToShutdown = 18 };
    const HostsPlugin hosts; // which inherits these
    QVERIFY(virtualOperations(plugin, Event, DisconnectNotify) ==
            virtualOperations(&hosts, Event, DisconnectNotify));
    QVERIFY(virtualOperations(plugin, AboutToShutdown, AboutToShutdown) ==
            virtualOperations(&hosts, AboutToShutdown, AboutToShutdown));

    const auto own = virtualOperations(plugin, Initialize, AboutToShutdown - 1);
    const auto others = virtualOperations(&hosts, Initialize, AboutToShutdown - 1);
    for (size_t i = 0; i < own.size(); ++i)
        QVERIFY(own[i] != others[i]);
}

void PluginTest::castsAnswerByClassName()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    void *const itself = plugin;
    QCOMPARE(plugin->qt_metacast(nullptr), nullptr);
    QCOMPARE(plugin->qt_metacast("syncstatus::SyncStatusPlugin"), itself);
    QCOMPARE(plugin->qt_metacast("custompluginmanager::PluginBase"), itself);
    QCOMPARE(plugin->qt_metacast("QObject"), itself);
    QCOMPARE(plugin->qt_metacast("SyncStatusPlugin"), nullptr);
    QCOMPARE(plugin->qt_metacast("PluginBase"), nullptr);
    QCOMPARE(plugin->qt_metacast(""), nullptr);
}

void PluginTest::metaCallsAreForwardedUnchanged()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    // What no class takes comes back counted from the end of the last class's methods.
    const int methods = plugin->metaObject()->methodCount();
    QCOMPARE(plugin->qt_metacall(QMetaObject::InvokeMetaMethod, methods, nullptr), 0);
    QCOMPARE(plugin->qt_metacall(QMetaObject::InvokeMetaMethod, methods + 3, nullptr), 3);
    // The class itself takes none.
    barehost::takeCalls();
    plugin->metaObject()->d.static_metacall(plugin, QMetaObject::InvokeMetaMethod, 0, nullptr);
    QCOMPARE(barehost::takeCalls(), QStringList());
    QCOMPARE(m_log->takeLines(), QStringList());
    // What QObject takes reaches it.
    QVERIFY(plugin->setProperty("objectName", QStringLiteral("renamed")));
    QCOMPARE(plugin->objectName(), QStringLiteral("renamed"));
}

void PluginTest::initializeRegistersAndThenWritesOneLine()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->initialize(nullptr));
    QCOMPARE(barehost::takeCalls(), QStringList({QStringLiteral("instance"), call("add")}));
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  initialize sync status plugin")}));
}

void PluginTest::initializeLeavesTheErrorStringAlone()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QString errorString = QStringLiteral("as it was");
    QVERIFY(plugin->initialize(&errorString));
    QCOMPARE(errorString, QStringLiteral("as it was"));
    QString null;
    QVERIFY(plugin->initialize(&null));
    QVERIFY(null.isNull());
}

void PluginTest::initializeAcceptsANullErrorString()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
}

void PluginTest::initializeTwiceRegistersTwice()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->initialize(nullptr));
    QObject *const implement = barehost::lastImplement();
    QVERIFY(plugin->initialize(nullptr));
    QCOMPARE(barehost::lastImplement(), implement);
    QCOMPARE(barehost::takeCalls(), QStringList({QStringLiteral("instance"), call("add"),
                                                 QStringLiteral("instance"), call("add")}));
    const QString line = agentDebug("codestack:  initialize sync status plugin");
    QCOMPARE(m_log->takeLines(), QStringList({line, line}));
}

void PluginTest::extensionsInitializedWarnsWithoutServicePlugin()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    plugin->extensionsInitialized();
    QCOMPARE(barehost::takeCalls(), QStringList({"instance", "find \"ServicePlugin\""}));
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentWarning("codestack:  serviceObject is empty")}));
}

void PluginTest::extensionsInitializedFindsServicePlugin()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QObject service;
    barehost::setServicePlugin(&service);
    barehost::takeCalls();
    plugin->extensionsInitialized();
    QCOMPARE(barehost::takeCalls(), QStringList({"instance", "find \"ServicePlugin\""}));
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentDebug("codestack:  extensions initialized SyncStatusPlugin")}));
}

void PluginTest::delayedInitializeOnlyWritesALine()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->delayedInitialize());
    QCOMPARE(barehost::takeCalls(), QStringList());
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  delayed initialize sync status plugin")}));
}

void PluginTest::wholeLifeHasOneOrderOfCallsAndLines_data()
{
    QTest::addColumn<bool>("withServicePlugin");
    QTest::newRow("ServicePlugin is there") << true;
    QTest::newRow("ServicePlugin is not there") << false;
}

void PluginTest::wholeLifeHasOneOrderOfCallsAndLines()
{
    QFETCH(bool, withServicePlugin);
    QObject service;
    barehost::setServicePlugin(withServicePlugin ? &service : nullptr);
    // Lines come between the calls that the host sees.
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type,
                                                                const QMessageLogContext &context,
                                                                const QString &text) {
        if (qstrcmp(context.category, category) == 0)
            barehost::record(
                (type == QtDebugMsg ? QLatin1String("debug ") : QLatin1String("warning ")) + text);
    });
    PluginBase *const plugin = load();
    bool results = false;
    if (plugin) {
        results = plugin->initialize(nullptr);
        plugin->extensionsInitialized();
        results = plugin->delayedInitialize() && results;
        plugin->aboutToShutdown();
        delete plugin;
    }
    qInstallMessageHandler(previous);
    QVERIFY(plugin);
    QVERIFY(results);
    QCOMPARE(barehost::takeCalls(),
             QStringList({
                 QStringLiteral("PluginBase"),
                 QStringLiteral("instance"),
                 call("add"),
                 QStringLiteral("debug codestack:  initialize sync status plugin"),
                 QStringLiteral("debug codestack:  extensions initialized CmdPlugin"),
                 QStringLiteral("instance"),
                 QStringLiteral("find \"ServicePlugin\""),
                 withServicePlugin
                     ? QStringLiteral("debug codestack:  extensions initialized SyncStatusPlugin")
                     : QStringLiteral("warning codestack:  serviceObject is empty"),
                 QStringLiteral("debug codestack:  delayed initialize sync status plugin"),
                 QStringLiteral("aboutToShutdown"),
                 QStringLiteral("instance"),
                 call("remove"),
                 QStringLiteral("destroyed"),
                 QStringLiteral("~PluginBase"),
             }));
}

void PluginTest::operationsWorkInAnyOrder()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->delayedInitialize());
    plugin->extensionsInitialized();
    QVERIFY(plugin->initialize(nullptr));
    plugin->extensionsInitialized();
    QCOMPARE(m_log->takeLines(),
             QStringList({agentDebug("codestack:  delayed initialize sync status plugin"),
                          agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentWarning("codestack:  serviceObject is empty"),
                          agentDebug("codestack:  initialize sync status plugin"),
                          agentDebug("codestack:  extensions initialized CmdPlugin"),
                          agentWarning("codestack:  serviceObject is empty")}));
}

void PluginTest::defaultsComeWithThePlugin()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    for (const QByteArray &original :
         {QByteArray(), QByteArray(""), QByteArray("some data"), QByteArray(70000, '\0')}) {
        QByteArray data = original;
        QVERIFY(!plugin->verify(data));
        QCOMPARE(data, original);
        QCOMPARE(data.isNull(), original.isNull());
    }
    QVERIFY(plugin->commandOptions().isEmpty());
    const QStringList arguments{"syncstatus-agent", "--anything", "at all"};
    QVERIFY(!plugin->parseArgumentOptions(arguments));
    QCOMPARE(arguments, QStringList({"syncstatus-agent", "--anything", "at all"}));
    QVERIFY(!plugin->parseArgumentOptions({}));
    QCOMPARE(barehost::takeCalls(), QStringList());
    QCOMPARE(m_log->takeLines(), QStringList());
}

void PluginTest::shutdownIsTheHosts()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    plugin->aboutToShutdown();
    QCOMPARE(barehost::takeCalls(), QStringList({"aboutToShutdown"}));
}

void PluginTest::linesCarryFileLineAndFunction()
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
        // Relative to the source tree, whatever folder the library was built in.
        QCOMPARE(records.at(i).file,
                 QStringLiteral("src/agent/plugins/system/syncstatus/syncstatusplugin.cpp"));
        QVERIFY(records.at(i).line > 0);
        const QString function =
            QLatin1String("syncstatus::SyncStatusPlugin::") + functions.at(i) + QLatin1Char('(');
        QVERIFY2(records.at(i).function.contains(function), qPrintable(records.at(i).function));
    }
}

void PluginTest::withDebugOffOnlyTheWarningIsWritten()
{
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent.debug=false"));
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
    plugin->extensionsInitialized();
    QVERIFY(plugin->delayedInitialize());
    QCOMPARE(m_log->takeLines(), QStringList({agentWarning("codestack:  serviceObject is empty")}));
}

void PluginTest::withEverythingOffNothingIsWrittenAndResultsStay()
{
    QLoggingCategory::setFilterRules(QStringLiteral("org.corvel.license.agent=false"));
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    barehost::takeCalls();
    QVERIFY(plugin->initialize(nullptr));
    plugin->extensionsInitialized();
    QVERIFY(plugin->delayedInitialize());
    QCOMPARE(barehost::takeCalls(),
             QStringList({QStringLiteral("instance"), call("add"), QStringLiteral("instance"),
                          QStringLiteral("find \"ServicePlugin\"")}));
    QCOMPARE(m_log->takeLines(), QStringList());
}

void PluginTest::loggingCategoryIsMadeByTheFirstLine()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QCOMPARE(categoriesMade.load(), 0);
    otherCategoriesMade = 0;
    plugin->delayedInitialize();
    QCOMPARE(categoriesMade.load(), 1);
    plugin->extensionsInitialized();
    plugin->initialize(nullptr);
    QCOMPARE(categoriesMade.load(), 1);
    QCOMPARE(otherCategoriesMade.load(), 0);
}

void PluginTest::everyLevelIsOnUnlessARuleSaysOtherwise()
{
    QLoggingCategory::setFilterRules(QString());
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->delayedInitialize();
    QVERIFY(writesInfo);
    const QString rules = QStringLiteral("qtlogging.ini");
    if (QFile::exists(QLibraryInfo::location(QLibraryInfo::DataPath) + QLatin1Char('/') + rules) ||
        !QStandardPaths::locate(QStandardPaths::GenericConfigLocation,
                                QLatin1String("QtProject/") + rules)
             .isEmpty())
        QSKIP("a configuration file of Qt's may switch debug lines off");
    QVERIFY(writesDebug);
}

void PluginTest::firstLinesFromSeveralThreadsMakeOneCategory()
{
    constexpr int threadCount = 8;
    for (int round = 0; round < 25; ++round) {
        categoriesMade = 0;
        PluginBase *const plugin = load();
        QVERIFY(plugin);
        atOnce(threadCount, [plugin](int) { plugin->delayedInitialize(); });
        QCOMPARE(categoriesMade.load(), 1);
        const QStringList lines = m_log->takeLines();
        QCOMPARE(lines.size(), threadCount);
        QCOMPARE(lines.count(agentDebug("codestack:  delayed initialize sync status plugin")),
                 threadCount);
        QVERIFY(m_loader->unload()); // so that the next round is a first use again
    }
}

void PluginTest::loggingCategoryIsGoneAfterUnloading()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->delayedInitialize();
    QVERIFY(m_loader->unload());
    categoriesMade = 0;
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=true")); // visits every category
    QCOMPARE(categoriesMade.load(), 0);
}

void PluginTest::deletionRemovesThenDestroysTheImplementationObject()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
    barehost::takeCalls();
    m_log->take();
    delete plugin;
    QCOMPARE(barehost::takeCalls(),
             QStringList({QStringLiteral("instance"), call("remove"), QStringLiteral("destroyed"),
                          QStringLiteral("~PluginBase")}));
    QCOMPARE(m_log->takeLines(), QStringList());
}

void PluginTest::deletionWithoutInitializeStillRemoves()
{
    delete load();
    QCOMPARE(barehost::takeCalls(),
             QStringList({QStringLiteral("PluginBase"), QStringLiteral("instance"), call("remove"),
                          QStringLiteral("destroyed"), QStringLiteral("~PluginBase")}));
}

void PluginTest::implementationObjectIsAParentlessQObjectNamedSyncStatus()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->initialize(nullptr);
    const QObject *const implement = barehost::lastImplement();
    QVERIFY(implement);
    QCOMPARE(implement->objectName(), QStringLiteral("SyncStatus"));
    QVERIFY(!implement->parent());
    QCOMPARE(implement->metaObject()->className(), implementClass);
    QCOMPARE(implement->metaObject()->superClass(), &QObject::staticMetaObject);
}

void PluginTest::implementationObjectOffersTwoInvokableOperations()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->initialize(nullptr);
    const QMetaObject *const meta = barehost::lastImplement()->metaObject();
    QStringList offered;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(method.methodType(), QMetaMethod::Method);
        offered += QString::fromLatin1(method.typeName()) + QLatin1Char(' ') +
                   QString::fromLatin1(method.methodSignature());
    }
    QCOMPARE(offered, QStringList({"bool getNetworkState()", "QObject* networkMonitor()"}));
    QCOMPARE(meta->propertyCount(), meta->propertyOffset());
    QCOMPARE(meta->enumeratorCount(), meta->enumeratorOffset());
    QCOMPARE(meta->classInfoCount(), meta->classInfoOffset());
}

void PluginTest::nothingMakesTheMonitorBeforeItIsAskedFor()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->initialize(nullptr);
    plugin->extensionsInitialized();
    plugin->delayedInitialize();
    // The monitor cannot be made without reading the primary connection, which it reports.
    const QString made = agentWarning("codestack:  get primary connection path: \"\"");
    QVERIFY(!m_log->takeLines().contains(made));

    // There is no bus here: the answers are those of a monitor that found nothing.
    QObject *const implement = barehost::lastImplement();
    bool online = true;
    QVERIFY(QMetaObject::invokeMethod(implement, "getNetworkState", Q_RETURN_ARG(bool, online)));
    QVERIFY(!online);
    const QStringList lines = m_log->takeLines();
    QCOMPARE(lines.count(made), 1);
    QCOMPARE(lines.last(), agentWarning("codestack:  getNetworkState: false \n"));

    QObject *const monitor = barehost::askForMonitor();
    QVERIFY(monitor);
    QCOMPARE(monitor->metaObject()->className(), "MonitorNetwork");
    QCOMPARE(barehost::askForMonitor(), monitor);
    QCOMPARE(m_log->takeLines(), QStringList());
}

void PluginTest::hostNeedsNeitherFrameworkLibraryNorLibcrypto()
{
    QVERIFY(load());
    QVERIFY(barehost::isMapped("libsyncstatus"));
    QVERIFY(!barehost::isMapped("libcustompluginmanager"));
    QVERIFY(!barehost::isMapped("libcrypto"));
}

QTEST_GUILESS_MAIN(PluginTest)

#include "tst_plugin.moc"

// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "pluginfixture.h"
#include "testprogram.h"

#include <QJsonObject>
#include <QPointer>
#include <QTest>

#include <cstring>
#include <vector>

using custompluginmanager::PluginBase;

namespace {

// A plugin of the host that overrides only the pure operations.
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

// What a host gets of the library: the metadata, the plugin object and the implementation object.
class TestPluginObject : public PluginFixture
{
    Q_OBJECT

private Q_SLOTS:
    void metadataIsReadWithoutLoading();
    void metadataIsThatOfTheHostsInterface();
    void metadataObjectHasItsFiveEntriesWithTheirTypes();
    void entryPointsAreCCallable();
    void twoCallsGiveOnePluginObject();
    void afterDeletionTheNextCallGivesAFreshPluginObject();
    void unloadingLeavesThePluginObjectToTheHost();
    void pluginObjectIsMadeWithoutRegistering();
    void pluginObjectOwnsAPrivatePartThatStartsWithTheImplementationObject();
    void metaObjectHasAClassNameAndNothingElse();
    void overridesNoMoreThanItHasTo();
    void castsAnswerByClassName();
    void metaCallsAreForwardedUnchanged();
    void implementationObjectIsAParentlessQObjectNamedSyncStatus();
    void implementationObjectOffersTwoInvokableOperations();
    void nothingMakesTheMonitorBeforeItIsAskedFor();
    void hostNeedsNeitherFrameworkLibraryNorLibcrypto();
};

void TestPluginObject::metadataIsReadWithoutLoading()
{
    QVERIFY(!m_loader->metaData().isEmpty());
    QVERIFY(!m_loader->isLoaded());
    QVERIFY(!barehost::isMapped("libsyncstatus"));
}

void TestPluginObject::metadataIsThatOfTheHostsInterface()
{
    const QJsonObject metadata = m_loader->metaData();
    QCOMPARE(metadata.value(QLatin1String("IID")),
             QJsonValue(QLatin1String("com.tav.Keldrin.TAVKeldrinPlugin")));
    QCOMPARE(metadata.value(QLatin1String("className")),
             QJsonValue(QLatin1String("SyncStatusPlugin")));
    QStringList keys = metadata.keys();
    keys.removeAll(QStringLiteral("archreq")); // which newer releases of Qt add
    QCOMPARE(keys.join(QLatin1Char(' ')), QStringLiteral("IID MetaData className debug version"));
    // Newer releases of Qt write no patch number.
    QCOMPARE(metadata.value(QLatin1String("version")).toInt() & ~0xff, QT_VERSION & ~0xff);
    // True only for the build type Debug.
    QCOMPARE(metadata.value(QLatin1String("debug")), QJsonValue(bool(DEBUG_BUILD)));
}

void TestPluginObject::metadataObjectHasItsFiveEntriesWithTheirTypes()
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

void TestPluginObject::entryPointsAreCCallable()
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

void TestPluginObject::twoCallsGiveOnePluginObject()
{
    QObject *const plugin = m_loader->instance();
    QVERIFY(plugin);
    QCOMPARE(m_loader->instance(), plugin);
    QPluginLoader other(pluginFile());
    QObject *const fromOther = other.instance();
    other.unload();
    QCOMPARE(fromOther, plugin);
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
}

void TestPluginObject::afterDeletionTheNextCallGivesAFreshPluginObject()
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
    QCOMPARE(barehost::takeCalls(), QStringList({QStringLiteral("PluginBase"),
                                                 QStringLiteral("instance"), callOf("add")}));
    QCOMPARE(barehost::lastImplement()->objectName(), QStringLiteral("SyncStatus"));
}

void TestPluginObject::unloadingLeavesThePluginObjectToTheHost()
{
    const auto instance =
        reinterpret_cast<QObject *(*)()>(m_library->resolve("qt_plugin_instance"));
    QVERIFY(instance);
    // Nobody can use the object without its code. The pointer keeps it from being a leak.
    static QObject *volatile left;
    left = instance();
    QVERIFY(left);
    QVERIFY(m_library->unload());
    QVERIFY(!barehost::isMapped("libsyncstatus"));
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
}

void TestPluginObject::pluginObjectIsMadeWithoutRegistering()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(!plugin->parent());
    QCOMPARE(barehost::takeCalls(), QStringList({"PluginBase"}));
    QCOMPARE(m_log->takeLines(), QStringList());
}

void TestPluginObject::pluginObjectOwnsAPrivatePartThatStartsWithTheImplementationObject()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    QVERIFY(plugin->initialize(nullptr));
    // The scoped pointer is the only data member, right after the base.
    void *privatePart = nullptr;
    memcpy(&privatePart, reinterpret_cast<const char *>(plugin) + sizeof(PluginBase),
           sizeof privatePart);
    QCOMPARE(privatePart, static_cast<void *>(barehost::lastImplement()));
}

void TestPluginObject::metaObjectHasAClassNameAndNothingElse()
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

void TestPluginObject::overridesNoMoreThanItHasTo()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    // After the meta-object's three operations and the destructor's two entries.
    enum { Event = 5, DisconnectNotify = 11, Initialize = 12, AboutToShutdown = 18 };
    const HostsPlugin hosts; // it inherits these
    QVERIFY(virtualOperations(plugin, Event, DisconnectNotify) ==
            virtualOperations(&hosts, Event, DisconnectNotify));
    QVERIFY(virtualOperations(plugin, AboutToShutdown, AboutToShutdown) ==
            virtualOperations(&hosts, AboutToShutdown, AboutToShutdown));

    const auto own = virtualOperations(plugin, Initialize, AboutToShutdown - 1);
    const auto others = virtualOperations(&hosts, Initialize, AboutToShutdown - 1);
    for (size_t i = 0; i < own.size(); ++i)
        QVERIFY(own[i] != others[i]);
}

void TestPluginObject::castsAnswerByClassName()
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

void TestPluginObject::metaCallsAreForwardedUnchanged()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    // An index that no class takes comes back, counted from the end of the last class's methods.
    const int methods = plugin->metaObject()->methodCount();
    QCOMPARE(plugin->qt_metacall(QMetaObject::InvokeMetaMethod, methods, nullptr), 0);
    QCOMPARE(plugin->qt_metacall(QMetaObject::InvokeMetaMethod, methods + 3, nullptr), 3);
    // The class itself takes no index.
    barehost::takeCalls();
    plugin->metaObject()->d.static_metacall(plugin, QMetaObject::InvokeMetaMethod, 0, nullptr);
    QCOMPARE(barehost::takeCalls(), QStringList());
    QCOMPARE(m_log->takeLines(), QStringList());
    // A call for QObject reaches it.
    QVERIFY(plugin->setProperty("objectName", QStringLiteral("renamed")));
    QCOMPARE(plugin->objectName(), QStringLiteral("renamed"));
}

void TestPluginObject::implementationObjectIsAParentlessQObjectNamedSyncStatus()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->initialize(nullptr);
    const QObject *const implement = barehost::lastImplement();
    QVERIFY(implement);
    QCOMPARE(implement->objectName(), QStringLiteral("SyncStatus"));
    QVERIFY(!implement->parent());
    QCOMPARE(implement->metaObject()->className(), "syncstatus::internal::SyncStatusImplement");
    QCOMPARE(implement->metaObject()->superClass(), &QObject::staticMetaObject);
}

void TestPluginObject::implementationObjectOffersTwoInvokableOperations()
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

void TestPluginObject::nothingMakesTheMonitorBeforeItIsAskedFor()
{
    PluginBase *const plugin = load();
    QVERIFY(plugin);
    plugin->initialize(nullptr);
    plugin->extensionsInitialized();
    plugin->delayedInitialize();
    // A new monitor reads the primary connection and writes this line.
    const QString made = agentWarning("codestack:  get primary connection path: \"\"");
    QVERIFY(!m_log->takeLines().contains(made));

    // There is no bus here, so the monitor finds nothing.
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

void TestPluginObject::hostNeedsNeitherFrameworkLibraryNorLibcrypto()
{
    QVERIFY(load());
    QVERIFY(barehost::isMapped("libsyncstatus"));
    QVERIFY(!barehost::isMapped("libcustompluginmanager"));
    QVERIFY(!barehost::isMapped("libcrypto"));
}

SYNCSTATUS_TEST(TestPluginObject)

#include "tst_pluginobject.moc"

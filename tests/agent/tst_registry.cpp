// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// The framework: the registry of implementation objects, the base class's defaults, and the names
// in its header.

#include "atonce.h"
#include "logcapture.h"
#include "testprogram.h"

#include <custompluginmanager/custompluginmanager.h>
#include <custompluginmanager/pluginbase.h>

#include <QScopedPointer>
#include <QTest>

#include <array>
#include <atomic>
#include <memory>
#include <utility>
#include <vector>

using custompluginmanager::CustomPluginManager;
using custompluginmanager::PluginBase;

namespace {

std::unique_ptr<QObject> named(const char *name)
{
    auto object = std::make_unique<QObject>();
    object->setObjectName(QLatin1String(name));
    return object;
}

QObject *find(const char *name)
{
    return CustomPluginManager::getPluginImpByName(QLatin1String(name));
}

QString warning(const char *text)
{
    return QLatin1String("warning custompluginmanager: ") + QLatin1String(text);
}

class MinimalPlugin : public PluginBase
{
public:
    bool initialize(QString *) override { return true; }
    void extensionsInitialized() override {}
    bool delayedInitialize() override { return false; }
};

} // namespace

class TestRegistry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void cleanupTestCase();

    void firstUseFromSeveralThreadsMakesOneRegistry(); // has to be the first
    void instanceIsAlwaysTheSame();
    void objectIsFoundByTheNameItWasAddedUnder();
    void unknownNameFindsNothing();
    void removedObjectIsNotFound();
    void removingAnUnknownObjectIsHarmless();
    void sameObjectTwiceIsHeldOnceAndWarnedAbout();
    void objectAddedAfterItsRemovalIsFoundAgain();
    void destroyedObjectLeavesByItself();
    void objectDestroyedInAnotherThreadLeavesAtOnce();
    void ofTwoObjectsWithOneNameTheFirstIsFound();
    void nullAndNamelessObjectsAreNotAdded();
    void messageHandlerMayUseTheRegistry();
    void severalThreadsAtOnceLoseNothing();
    void objectMayBeDestroyedWhileItIsRemoved();

    void pluginDefaults();
    void pluginMetaObject();
    void namesOfTheInterface();

private:
    QScopedPointer<LogCapture> m_log;
};

void TestRegistry::init()
{
    m_log.reset(new LogCapture);
}

void TestRegistry::cleanup()
{
    const QStringList lines = m_log->takeLines();
    m_log.reset();
    QCOMPARE(lines, QStringList()); // each test takes the lines that it expects
}

void TestRegistry::cleanupTestCase()
{
    // Objects with static storage duration use it after main().
    connect(CustomPluginManager::instance(), &QObject::destroyed,
            [] { qFatal("the registry has an end"); });
}

void TestRegistry::firstUseFromSeveralThreadsMakesOneRegistry()
{
    std::array<CustomPluginManager *, 8> found{};
    atOnce(int(found.size()), [&](int i) { found[size_t(i)] = CustomPluginManager::instance(); });
    QVERIFY(found[0]);
    for (const CustomPluginManager *manager : found)
        QCOMPARE(manager, found[0]);
}

void TestRegistry::instanceIsAlwaysTheSame()
{
    QVERIFY(CustomPluginManager::instance());
    QCOMPARE(CustomPluginManager::instance(), CustomPluginManager::instance());
}

void TestRegistry::objectIsFoundByTheNameItWasAddedUnder()
{
    const auto one = named("one");
    const auto two = named("two");
    CustomPluginManager::addPluginImplement(one.get());
    CustomPluginManager::addPluginImplement(two.get());
    QCOMPARE(find("one"), one.get());
    QCOMPARE(find("two"), two.get());

    one->setObjectName(QStringLiteral("renamed"));
    QCOMPARE(find("one"), one.get());
    QCOMPARE(find("renamed"), nullptr);
}

void TestRegistry::unknownNameFindsNothing()
{
    const auto object = named("Name");
    CustomPluginManager::addPluginImplement(object.get());
    QCOMPARE(find("name"), nullptr);
    QCOMPARE(find("Name "), nullptr);
    QCOMPARE(find("Nam"), nullptr);
    QCOMPARE(find(""), nullptr);
    QCOMPARE(CustomPluginManager::getPluginImpByName(QString()), nullptr);
}

void TestRegistry::removedObjectIsNotFound()
{
    const auto object = named("object");
    CustomPluginManager::addPluginImplement(object.get());
    CustomPluginManager::removePluginImplement(object.get());
    QCOMPARE(find("object"), nullptr);
}

void TestRegistry::removingAnUnknownObjectIsHarmless()
{
    const auto held = named("object");
    const auto unknown = named("object");
    CustomPluginManager::removePluginImplement(unknown.get());
    CustomPluginManager::addPluginImplement(held.get());
    CustomPluginManager::removePluginImplement(unknown.get());
    CustomPluginManager::removePluginImplement(nullptr);
    QCOMPARE(find("object"), held.get());
    CustomPluginManager::removePluginImplement(held.get());
    CustomPluginManager::removePluginImplement(held.get());
    QCOMPARE(find("object"), nullptr);
}

void TestRegistry::sameObjectTwiceIsHeldOnceAndWarnedAbout()
{
    const auto object = named("object");
    const auto other = named("other");
    CustomPluginManager::addPluginImplement(object.get());
    CustomPluginManager::addPluginImplement(other.get());
    QCOMPARE(m_log->takeLines(), QStringList());
    CustomPluginManager::addPluginImplement(object.get());
    QCOMPARE(m_log->takeLines(),
             QStringList({warning("not added, it is there already: \"object\"")}));

    object->setObjectName(QStringLiteral("renamed"));
    CustomPluginManager::addPluginImplement(object.get());
    QCOMPARE(m_log->takeLines(),
             QStringList({warning("not added, it is there already: \"renamed\"")}));
    QCOMPARE(find("renamed"), nullptr);
    QCOMPARE(find("object"), object.get());

    CustomPluginManager::removePluginImplement(object.get());
    QCOMPARE(find("object"), nullptr);
}

void TestRegistry::objectAddedAfterItsRemovalIsFoundAgain()
{
    struct Object : QObject
    {
        using QObject::receivers;
    } object;
    object.setObjectName(QStringLiteral("object"));
    for (int i = 0; i < 3; ++i) {
        CustomPluginManager::addPluginImplement(&object);
        QCOMPARE(find("object"), static_cast<QObject *>(&object));
        CustomPluginManager::removePluginImplement(&object);
        QCOMPARE(find("object"), nullptr);
    }
    QCOMPARE(object.receivers(SIGNAL(destroyed(QObject *))), 1);
}

void TestRegistry::destroyedObjectLeavesByItself()
{
    auto object = named("object");
    CustomPluginManager::addPluginImplement(object.get());
    object.reset();
    QCOMPARE(find("object"), nullptr);
}

void TestRegistry::objectDestroyedInAnotherThreadLeavesAtOnce()
{
    auto object = named("object");
    CustomPluginManager::addPluginImplement(object.get());
    std::thread([&] { object.reset(); }).join();
    QCOMPARE(find("object"), nullptr);
}

void TestRegistry::ofTwoObjectsWithOneNameTheFirstIsFound()
{
    auto first = named("object");
    const auto between = named("other");
    auto second = named("object");
    CustomPluginManager::addPluginImplement(first.get());
    CustomPluginManager::addPluginImplement(between.get());
    CustomPluginManager::addPluginImplement(second.get());
    QCOMPARE(
        m_log->takeLines(),
        QStringList({warning("two objects have this name, the first one is found: \"object\"")}));
    QCOMPARE(find("object"), first.get());
    first.reset();
    QCOMPARE(find("object"), second.get());
    second.reset();
    QCOMPARE(find("object"), nullptr);
}

void TestRegistry::nullAndNamelessObjectsAreNotAdded()
{
    CustomPluginManager::addPluginImplement(nullptr);
    QCOMPARE(m_log->takeLines(), QStringList({warning("not added, it has no name: QObject(0x0)")}));
    QObject nameless;
    CustomPluginManager::addPluginImplement(&nameless);
    const QStringList lines = m_log->takeLines();
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().startsWith(warning("not added, it has no name: QObject(0x")));
    QCOMPARE(find(""), nullptr);
}

void TestRegistry::messageHandlerMayUseTheRegistry()
{
    static QObject *seen;
    seen = nullptr;
    const auto first = named("object");
    const auto second = named("object");
    const QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &) { seen = find("object"); });
    CustomPluginManager::addPluginImplement(first.get());
    CustomPluginManager::addPluginImplement(first.get());
    QObject *const seenWhenTwice = std::exchange(seen, nullptr);
    CustomPluginManager::addPluginImplement(second.get());
    qInstallMessageHandler(previous);
    QCOMPARE(seenWhenTwice, first.get());
    QCOMPARE(seen, first.get());
}

void TestRegistry::severalThreadsAtOnceLoseNothing()
{
    std::atomic<int> missed{0};
    const auto bystander = named("bystander");
    CustomPluginManager::addPluginImplement(bystander.get());
    atOnce(8, [&](int thread) {
        const auto object = named(qPrintable(QString::number(thread)));
        const QString name = object->objectName();
        for (int i = 0; i < 200000; ++i) {
            CustomPluginManager::addPluginImplement(object.get());
            missed += CustomPluginManager::getPluginImpByName(name) != object.get();
            missed += find("bystander") != bystander.get();
            CustomPluginManager::removePluginImplement(object.get());
            missed += CustomPluginManager::getPluginImpByName(name) != nullptr;
        }
    });
    QCOMPARE(missed.load(), 0);
}

void TestRegistry::objectMayBeDestroyedWhileItIsRemoved()
{
    for (int i = 0; i < 500; ++i) {
        auto object = named("object");
        QObject *const raw = object.get();
        CustomPluginManager::addPluginImplement(raw);
        atOnce(2, [&](int thread) {
            if (thread == 0)
                object.reset();
            else
                CustomPluginManager::removePluginImplement(raw);
        });
        QCOMPARE(find("object"), nullptr);
    }
}

void TestRegistry::pluginDefaults()
{
    MinimalPlugin plugin;
    QVERIFY(!plugin.parent());
    QByteArray data("data");
    QVERIFY(!plugin.verify(data));
    QCOMPARE(data, QByteArray("data"));
    QVERIFY(plugin.commandOptions().isEmpty());
    const QStringList arguments{"agent", "--option"};
    QVERIFY(!plugin.parseArgumentOptions(arguments));
    QCOMPARE(arguments, QStringList({"agent", "--option"}));
    plugin.aboutToShutdown();
}

void TestRegistry::pluginMetaObject()
{
    const QMetaObject &meta = PluginBase::staticMetaObject;
    QCOMPARE(meta.className(), "custompluginmanager::PluginBase");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void TestRegistry::namesOfTheInterface()
{
    QCOMPARE(CUSTOMPLUGINMANAGER_PLUGIN_IID, "com.tav.Keldrin.TAVKeldrinPlugin");
    QCOMPARE(custompluginmanager::PLUGIN_METADATA, "MetaData");
    QCOMPARE(custompluginmanager::PLUGIN_NAME, "Name");
    QCOMPARE(custompluginmanager::PLUGIN_VERSION, "Version");
    QCOMPARE(custompluginmanager::PLUGIN_DESCRIPTION, "Description");
    QCOMPARE(custompluginmanager::PLUGIN_DISABLED_BY_DEFAULT, "DisabledByDefault");
    QCOMPARE(custompluginmanager::PLUGIN_CATEGORY, "Category");
    QCOMPARE(custompluginmanager::DELAYED_INITIALIZE_INTERVAL, 20);
}

SYNCSTATUS_TEST(TestRegistry)

#include "tst_registry.moc"

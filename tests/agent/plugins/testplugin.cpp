// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "testplugin.h"

#include <custompluginmanager/custompluginmanager.h>

#include <QEventLoop>
#include <QFileInfo>
#include <QThread>
#include <QTimer>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

using custompluginmanager::CustomPluginManager;

namespace {

const char anchor = 0;

QByteArray ownName()
{
    Dl_info info;
    dladdr(&anchor, &info);
    return QFileInfo(QFile::decodeName(info.dli_fname)).completeBaseName().toLocal8Bit();
}

void write(const QByteArray &text)
{
    std::printf("%s: %s\n", ownName().constData(), text.constData());
    std::fflush(stdout);
}

QByteArray behaviour(const char *operation)
{
    const QByteArray key = ownName() + '.' + operation + '=';
    const auto entries = qgetenv("TEST_PLUGINS").split(' ');
    for (const QByteArray &entry : entries) {
        if (entry.startsWith(key))
            return entry.mid(key.size());
    }
    return {};
}

void readDespiteSignal(int number)
{
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    std::thread other([reader = pthread_self(), number, writeEnd = ends[1]] {
        constexpr std::chrono::milliseconds untilItReads(100); // sooner, the signal does no harm
        std::this_thread::sleep_for(untilItReads);
        pthread_kill(reader, number);
        std::this_thread::sleep_for(untilItReads);
        [[maybe_unused]] const auto written = ::write(writeEnd, "", 1);
    });
    char byte = 0;
    const auto count = read(ends[0], &byte, 1);
    other.join();
    close(ends[0]);
    close(ends[1]);
    write("has read " + QByteArray::number(qint64(count)));
}

__attribute__((constructor)) void libraryLoaded()
{
    write("library loaded");
}

} // namespace

void TestPlugin::called(const char *operation)
{
    write(operation);
    const QByteArray todo = behaviour(operation);
    if (todo == "throw")
        throw std::runtime_error("no luck");
    if (todo == "throw-foreign")
        throw std::runtime_error("kein Glück");
    if (todo == "throw-int")
        throw 1;
    if (todo == "raise")
        (void)std::raise(SIGTERM);
    if (todo.startsWith("read-"))
        readDespiteSignal(todo.mid(5).toInt());
    if (todo == "post")
        QMetaObject::invokeMethod(this, "inEventLoop", Qt::QueuedConnection);
    if (todo == "raise-late")
        QMetaObject::invokeMethod(this, "raiseLate", Qt::QueuedConnection);
    if (todo == "spin" || todo == "spin-raise") {
        QEventLoop loop;
        QTimer timer;
        connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        if (todo == "spin-raise")
            QMetaObject::invokeMethod(this, "raiseLate", Qt::QueuedConnection);
        timer.start(100);
        loop.exec();
    }
    if (todo.startsWith("find-")) {
        const QByteArray name = todo.mid(5);
        const bool found = CustomPluginManager::getPluginImpByName(QString::fromLocal8Bit(name));
        write((found ? "found " : "no ") + name);
    }
    if (todo == "ask") {
        bool online = false;
        const bool asked = QMetaObject::invokeMethod(
            CustomPluginManager::getPluginImpByName(QStringLiteral("SyncStatus")),
            "getNetworkState", Q_RETURN_ARG(bool, online));
        write(asked ? (online ? "online" : "not online") : "nobody to ask");
    }
    if (todo == "clock") {
        using namespace std::chrono;
        const auto now = steady_clock::now().time_since_epoch();
        write("at " + QByteArray::number(qint64(duration_cast<milliseconds>(now).count())));
    }
}

void TestPlugin::inEventLoop()
{
    write("event loop");
}

void TestPlugin::raiseLate()
{
    QThread::msleep(100);
    (void)std::raise(SIGTERM);
}

TestPlugin::TestPlugin()
{
    m_offer.setObjectName(QString::fromLocal8Bit(ownName()));
    called("constructor");
}

TestPlugin::~TestPlugin()
{
    write("destructor");
}

bool TestPlugin::initialize(QString *errorString)
{
    CustomPluginManager::addPluginImplement(&m_offer);
    called("initialize");
    if (behaviour("initialize") == "refuse")
        *errorString = QStringLiteral("no luck");
    return !behaviour("initialize").startsWith("refuse");
}

void TestPlugin::extensionsInitialized()
{
    called("extensionsInitialized");
}

bool TestPlugin::delayedInitialize()
{
    called("delayedInitialize");
    return true;
}

QList<QCommandLineOption> TestPlugin::commandOptions()
{
    const QByteArray todo = behaviour("commandOptions");
    if (todo.startsWith("throw"))
        called("commandOptions");
    if (!todo.startsWith("offer-"))
        return {};
    return {QCommandLineOption(QString::fromLocal8Bit(todo.mid(6)).split(QLatin1Char(',')),
                               QStringLiteral("An option of a test plugin."),
                               QStringLiteral("value"))};
}

bool TestPlugin::parseArgumentOptions(const QStringList &arguments)
{
    called("parseArgumentOptions");
    write("arguments " + arguments.mid(1).join(QLatin1Char(' ')).toLocal8Bit());
    return true;
}

void TestPlugin::aboutToShutdown()
{
    called("aboutToShutdown");
}

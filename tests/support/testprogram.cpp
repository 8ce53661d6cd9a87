// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "testprogram.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QFile>
#include <QMetaMethod>
#include <QProcess>
#include <QString>

#include <cstdio>

namespace {

const TestClass *newest = nullptr;

// TestIniReading is "inireading".
QByteArray nameOf(const TestClass &test)
{
    return QByteArray(test.meta.className()).mid(int(qstrlen("Test"))).toLower();
}

const TestClass *find(const QByteArray &name)
{
    const TestClass *test = newest;
    while (test && nameOf(*test) != name)
        test = test->next;
    return test;
}

int runEachFunctionByItself(const QMetaObject &test, const QString &program, const QString &name)
{
    const QByteArrayList notTests{"initTestCase", "cleanupTestCase", "init", "cleanup"};
    int failures = 0;
    for (int i = test.methodOffset(); i < test.methodCount(); ++i) {
        const QMetaMethod method = test.method(i);
        const QByteArray function = method.name();
        if (method.methodType() != QMetaMethod::Slot || function.endsWith("_data") ||
            notTests.contains(function))
            continue;
        if (QProcess::execute(program, {name, QString::fromLatin1(function)}) != 0)
            ++failures;
    }
    return failures;
}

} // namespace

TestClass::TestClass(const QMetaObject &metaObject, int (*runInThisProcess)(int, char **),
                     bool isIsolated) noexcept
    : meta(metaObject), runHere(runInThisProcess), isolated(isIsolated), next(newest)
{
    newest = this;
}

int main(int argc, char **argv)
{
    const TestClass *const test = argc > 1 ? find(argv[1]) : nullptr;
    if (!test) {
        std::fputs("The first argument is one of:\n", stderr);
        for (const TestClass *known = newest; known; known = known->next)
            std::fprintf(stderr, "  %s\n", nameOf(*known).constData());
        return 2;
    }
    if (test->isolated && argc == 2)
        return runEachFunctionByItself(test->meta, QFile::decodeName(argv[0]),
                                       QString::fromLatin1(argv[1]));
    argv[1] = argv[0];
    return test->runHere(argc - 1, argv + 1);
}

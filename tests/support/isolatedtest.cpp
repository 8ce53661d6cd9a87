// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "isolatedtest.h"

#include <QByteArrayList>
#include <QMetaMethod>
#include <QProcess>
#include <QStringList>

int runIsolated(const QMetaObject &test, int argc, char **argv, int (*runHere)(int, char **))
{
    if (argc > 1)
        return runHere(argc, argv);

    const QByteArrayList notTests{"initTestCase", "cleanupTestCase", "init", "cleanup"};
    int failures = 0;
    for (int i = test.methodOffset(); i < test.methodCount(); ++i) {
        const QMetaMethod method = test.method(i);
        const QByteArray name = method.name();
        if (method.methodType() != QMetaMethod::Slot || name.endsWith("_data") ||
            notTests.contains(name))
            continue;
        if (QProcess::execute(QString::fromLocal8Bit(argv[0]), {QString::fromLatin1(name)}) != 0)
            ++failures;
    }
    return failures;
}

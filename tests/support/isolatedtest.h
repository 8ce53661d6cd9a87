// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef ISOLATEDTEST_H
#define ISOLATEDTEST_H

#include <QMetaObject>

/// Runs each test function of \a test by itself in a fresh process of this program, or, when
/// functions are named on the command line, those in this one. For what a process has only once:
/// its system bus connection, Qt's cache of introspected interfaces, the monitor.
/// Returns the program's exit status.
int runIsolated(const QMetaObject &test, int argc, char **argv, int (*runHere)(int, char **));

/// The main() of such a program, in place of QTEST_GUILESS_MAIN.
#define ISOLATED_TEST_MAIN(TestClass)                                                              \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        return runIsolated(TestClass::staticMetaObject, argc, argv, [](int count, char **values) { \
            QCoreApplication app(count, values);                                                   \
            TestClass test;                                                                        \
            return QTest::qExec(&test, count, values);                                             \
        });                                                                                        \
    }

#endif

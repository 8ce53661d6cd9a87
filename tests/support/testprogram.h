// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTPROGRAM_H
#define TESTPROGRAM_H

#include <QCoreApplication>
#include <QTest>

/// A test class of this program, which may have several. The program's first argument names the one
/// to run; QtTest's own follow: "tst_files inireading" runs TestIniReading.
struct TestClass
{
    TestClass(const QMetaObject &metaObject, int (*runInThisProcess)(int, char **),
              bool isIsolated) noexcept;

    const QMetaObject &meta;
    int (*const runHere)(int argc, char **argv);
    const bool isolated;
    const TestClass *const next; // the one that was made known before
};

template <typename Test>
int runTest(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

template <typename Test>
bool addTest(bool isIsolated) noexcept
{
    static const TestClass test(Test::staticMetaObject, runTest<Test>, isIsolated);
    return true;
}

/// Makes a class known to the program, in place of QTEST_GUILESS_MAIN.
#define SYNCSTATUS_TEST(Test) [[maybe_unused]] static const bool added##Test = addTest<Test>(false);

/// The same, and each test function runs in a fresh process unless functions are named on the
/// command line. For what a process has only once: its system bus connection, Qt's cache of
/// introspected interfaces, the monitor.
#define SYNCSTATUS_ISOLATED_TEST(Test)                                                             \
    [[maybe_unused]] static const bool added##Test = addTest<Test>(true);

#endif

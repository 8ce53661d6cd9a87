// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "logcapture.h"
#include "testprogram.h"

#include <syncstatus/utils.h>

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using utility::Utils;

namespace {

bool writeText(const QString &path, const QString &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) == text.toUtf8().size();
}

bool writeScript(const QString &path, const QString &text)
{
    return writeText(path, QLatin1String("#!/bin/sh\n") + text) &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QString query(const QString &path)
{
    return QLatin1String("rpm -qf --queryformat '%{NAME}' ") + path;
}

/// What a program said, when it failed.
QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit &&
        process.exitCode() == 0)
        return {};
    return program + QLatin1String(": ") + process.errorString() + QLatin1Char('\n') +
           QString::fromLocal8Bit(process.readAll());
}

struct Package
{
    QString name;
    QString programs; // its files, separated by blanks
    QString how;      // it is installed: an option of rpm
};

/// Builds a package and installs it with the database in \a home. Returns what went wrong.
QString buildAndInstall(const Package &package, const QString &home)
{
    const QString spec = QStringLiteral("%define programs %1\n"
                                        "Name: %2\n"
                                        "Version: 1\n"
                                        "Release: 1\n"
                                        "Summary: A program that only the database knows\n"
                                        "License: none\n"
                                        "BuildArch: noarch\n"
                                        "%define __os_install_post %{nil}\n"
                                        "%description\n"
                                        "%{summary}.\n"
                                        "%install\n"
                                        "for file in %{programs}; do\n"
                                        "  install -D /dev/null %{buildroot}$file\n"
                                        "done\n"
                                        "%files\n"
                                        "%(printf '%s\\n' %{programs})\n")
                             .arg(package.programs, package.name);
    const QString specFile = QStringLiteral("%1/%2.spec").arg(home, package.name);
    if (!writeText(specFile, spec))
        return "cannot write " + specFile;
    QString problem = run("rpmbuild", {"-bb", specFile});
    if (!problem.isEmpty())
        return problem;
    return run("rpm",
               {"--install", package.how, "--nodeps", "--noplugins", "--dbpath", home + "/database",
                QStringLiteral("%1/build/RPMS/noarch/%2-1-1.noarch.rpm").arg(home, package.name)});
}

} // namespace

class TestPackageName : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anEmptyNameRunsNothing();
    void theQueryIsMadeFromTheName_data();
    void theQueryIsMadeFromTheName();
    void theAnswerIsTrimmed();
    void theQuerysExitCodeIsNotConsulted();
    void anAnswerOnStandardErrorIsNone();
    void noRpmOnThePath();
    void noBashOnThePath();

    void realRpm_data();
    void realRpm();
    void realRpmNamesTheOwnerOfAFileOnDisk();

private:
    QString makeRealDatabase();

    QTemporaryDir m_dir;
    QString m_home;
};

void TestPackageName::anEmptyNameRunsNothing()
{
    // A bash that leaves a trace.
    QTemporaryDir bin;
    const QString trace = bin.filePath("trace");
    QVERIFY(writeScript(bin.filePath("bash"), QStringLiteral(": > %1; echo name").arg(trace)));
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()));

    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(QString()), QString());
    QCOMPARE(Utils::getPackageNameByProcessName(QLatin1String("")), QString());
    QCOMPARE(log.takeLines(), QStringList());
    QVERIFY(!QFile::exists(trace));

    QCOMPARE(Utils::getPackageNameByProcessName("x"), QStringLiteral("name"));
    QVERIFY(QFile::exists(trace));
}

void TestPackageName::theQueryIsMadeFromTheName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const QString &processName, const QString &path,
                        const QString &expected) {
        QTest::newRow(name) << processName << path << expected;
    };
    const QString options = QStringLiteral("-qf|--queryformat|%{NAME}|");
    row("bare name", "prog", "/usr/bin/prog", options + "/usr/bin/prog|");
    row("absolute path", "/opt/a/prog", "/opt/a/prog", options + "/opt/a/prog|");
    row("root", "/", "/", options + "/|");
    row("relative path", "a/prog", "/usr/bin/a/prog", options + "/usr/bin/a/prog|");
    // The name is not quoted.
    row("a blank splits it", "a b", "/usr/bin/a b", options + "/usr/bin/a|b|");
    row("only a blank", " ", "/usr/bin/ ", options + "/usr/bin/|");
    row("a leading blank", " /a", "/usr/bin/ /a", options + "/usr/bin/|/a|");
    row("bash parses it", "/a; echo more", "/a; echo more", options + "/a|more");
    row("an escaped blank", "/a\\ b", "/a\\ b", options + "/a b|");
}

void TestPackageName::theQueryIsMadeFromTheName()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, expected);

    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath("rpm"), "printf '%s|' \"$@\""));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(name), expected);
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(path))});
}

void TestPackageName::theAnswerIsTrimmed()
{
    // At both ends only.
    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath("rpm"), "printf ' \\ta  b\\nc \\n'"));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    QCOMPARE(Utils::getPackageNameByProcessName("x"), QStringLiteral("a  b\nc"));
}

void TestPackageName::theQuerysExitCodeIsNotConsulted()
{
    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath("rpm"), "echo name; exit 9"));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName("x"), QStringLiteral("name"));
    QCOMPARE(log.takeLines(), QStringList{goodLine(query("/usr/bin/x"), 9)});
}

void TestPackageName::anAnswerOnStandardErrorIsNone()
{
    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath("rpm"), "echo name >&2"));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    QCOMPARE(Utils::getPackageNameByProcessName("x"), QString());
}

void TestPackageName::noRpmOnThePath()
{
    QTemporaryDir bin;
    QVERIFY(
        QFile::link(QStandardPaths::findExecutable(QStringLiteral("bash")), bin.filePath("bash")));
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName("bash"), QString());
    QCOMPARE(log.takeLines(), QStringList{goodLine(query("/usr/bin/bash"), 127)});
}

void TestPackageName::noBashOnThePath()
{
    QTemporaryDir bin;
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName("bash"), QString());
    const QString line = failedToStartLine(query("/usr/bin/bash"));
    QCOMPARE(log.takeLines(), (QStringList{line, line, line}));
}

/// Makes a database in a home directory of the test. It has three packages. The files of the first
/// two are in the database only, the third is really installed, below that directory.
QString TestPackageName::makeRealDatabase()
{
    if (!m_home.isEmpty())
        return {};
    const QString home = m_dir.path();
    if (!writeText(home + "/.rpmmacros", QStringLiteral("%_dbpath %1/database\n"
                                                        "%_topdir %1/build\n"
                                                        "%_tmppath %1/tmp\n")
                                             .arg(home)))
        return "cannot write to " + home;

    const ScopedVariable variable("HOME", QFile::encodeName(home));
    // An answer with several owners has them in this order.
    for (const Package &package :
         {Package{"syncstatus-test-first",
                  "/usr/bin/syncstatus-test-program /opt/syncstatus-test/shared", "--justdb"},
          Package{"syncstatus-test-second",
                  "/opt/syncstatus-test/program /opt/syncstatus-test/shared", "--justdb"},
          Package{"syncstatus-test-third", home + "/installed/program", "--nosignature"}}) {
        QString problem = buildAndInstall(package, home);
        if (!problem.isEmpty())
            return problem;
    }
    m_home = home;
    return {};
}

void TestPackageName::realRpm_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("exitCode");

    const auto row = [](const char *name, const QString &processName, const QString &path,
                        const QString &expected, int exitCode) {
        QTest::newRow(name) << processName << path << expected << exitCode;
    };
    row("bare name", "syncstatus-test-program", "/usr/bin/syncstatus-test-program",
        "syncstatus-test-first", 0);
    row("absolute path", "/opt/syncstatus-test/program", "/opt/syncstatus-test/program",
        "syncstatus-test-second", 0);
    row("absolute path of a bare name's program", "/usr/bin/syncstatus-test-program",
        "/usr/bin/syncstatus-test-program", "syncstatus-test-first", 0);
    // Of several owners the names are run together.
    row("two owners", "/opt/syncstatus-test/shared", "/opt/syncstatus-test/shared",
        "syncstatus-test-firstsyncstatus-test-second", 0);
    // rpm says this on its standard output, so it passes for a name.
    row("no owner", "/dev/null", "/dev/null", "file /dev/null is not owned by any package", 1);
    row("no owner, bare name", "env", "/usr/bin/env",
        "file /usr/bin/env is not owned by any package", 1);
    // And this on its standard error.
    row("no such file", "/nonexistent/program", "/nonexistent/program", "", 1);
    row("no such file, bare name", "syncstatus-no-such", "/usr/bin/syncstatus-no-such", "", 1);
}

void TestPackageName::realRpm()
{
    if (QStandardPaths::findExecutable(QStringLiteral("rpm")).isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("rpmbuild")).isEmpty())
        QSKIP("rpm or rpmbuild is not installed");
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QFETCH(int, exitCode);
    const QString problem = makeRealDatabase();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));

    const ScopedVariable home("HOME", QFile::encodeName(m_home));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(name), expected);
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(path), exitCode)});
}

void TestPackageName::realRpmNamesTheOwnerOfAFileOnDisk()
{
    if (QStandardPaths::findExecutable(QStringLiteral("rpm")).isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("rpmbuild")).isEmpty())
        QSKIP("rpm or rpmbuild is not installed");
    const QString problem = makeRealDatabase();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));

    const ScopedVariable home("HOME", QFile::encodeName(m_home));
    const QString program = m_home + QLatin1String("/installed/program");
    QVERIFY(QFile::exists(program));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(program), QStringLiteral("syncstatus-test-third"));
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(program))});

    // A copy beside it is nobody's.
    const QString copy = m_home + QLatin1String("/installed/copy");
    QVERIFY(QFile::copy(program, copy));
    QCOMPARE(Utils::getPackageNameByProcessName(copy),
             QStringLiteral("file %1 is not owned by any package").arg(copy));
}

SYNCSTATUS_TEST(TestPackageName)
#include "tst_packagename.moc"

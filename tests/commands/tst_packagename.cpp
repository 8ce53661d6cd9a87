// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "logcapture.h"

#include <syncstatus/utils.h>

#include <QFile>
#include <QProcess>
#include <QScopedPointer>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <utility>

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

} // namespace

class PackageName : public QObject
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
    bool makeRealDatabase(QString *problem);

    QTemporaryDir m_dir;
    QString m_home;
};

void PackageName::anEmptyNameRunsNothing()
{
    // A bash that leaves a trace.
    QTemporaryDir bin;
    const QString trace = bin.filePath(QStringLiteral("trace"));
    QVERIFY(writeScript(bin.filePath(QStringLiteral("bash")),
                        QStringLiteral(": > %1; echo name").arg(trace)));
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()));

    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(QString()), QString());
    QCOMPARE(Utils::getPackageNameByProcessName(QLatin1String("")), QString());
    QCOMPARE(log.takeLines(), QStringList());
    QVERIFY(!QFile::exists(trace));

    QCOMPARE(Utils::getPackageNameByProcessName(QStringLiteral("x")), QStringLiteral("name"));
    QVERIFY(QFile::exists(trace));
}

void PackageName::theQueryIsMadeFromTheName_data()
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

void PackageName::theQueryIsMadeFromTheName()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, expected);

    QTemporaryDir bin;
    QVERIFY(
        writeScript(bin.filePath(QStringLiteral("rpm")), QStringLiteral("printf '%s|' \"$@\"")));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(name), expected);
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(path))});
}

void PackageName::theAnswerIsTrimmed()
{
    // At both ends only.
    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath(QStringLiteral("rpm")),
                        QStringLiteral("printf ' \\ta  b\\nc \\n'")));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    QCOMPARE(Utils::getPackageNameByProcessName(QStringLiteral("x")), QStringLiteral("a  b\nc"));
}

void PackageName::theQuerysExitCodeIsNotConsulted()
{
    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath(QStringLiteral("rpm")), QStringLiteral("echo name; exit 9")));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(QStringLiteral("x")), QStringLiteral("name"));
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(QStringLiteral("/usr/bin/x")), 9)});
}

void PackageName::anAnswerOnStandardErrorIsNone()
{
    QTemporaryDir bin;
    QVERIFY(writeScript(bin.filePath(QStringLiteral("rpm")), QStringLiteral("echo name >&2")));
    const ScopedVariable search("PATH", QFile::encodeName(bin.path()) + ':' + qgetenv("PATH"));
    QCOMPARE(Utils::getPackageNameByProcessName(QStringLiteral("x")), QString());
}

void PackageName::noRpmOnThePath()
{
    QTemporaryDir bin;
    QVERIFY(QFile::link(QStandardPaths::findExecutable(QStringLiteral("bash")),
                        bin.filePath(QStringLiteral("bash"))));
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(QStringLiteral("bash")), QString());
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(QStringLiteral("/usr/bin/bash")), 127)});
}

void PackageName::noBashOnThePath()
{
    QTemporaryDir bin;
    const ScopedVariable path("PATH", QFile::encodeName(bin.path()));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(QStringLiteral("bash")), QString());
    const QString line = failedToStartLine(query(QStringLiteral("/usr/bin/bash")));
    QCOMPARE(log.takeLines(), (QStringList{line, line, line}));
}

/// Packages, built and then entered into a database in a home directory of their own. The files of
/// the first two are in that database only, not on this machine; the third is really installed,
/// below that directory.
bool PackageName::makeRealDatabase(QString *problem)
{
    if (!m_home.isEmpty())
        return true;
    const QString home = m_dir.path();
    const QString macros = QStringLiteral("%_dbpath %1/database\n"
                                          "%_topdir %1/build\n"
                                          "%_tmppath %1/tmp\n")
                               .arg(home);
    const QString spec = QStringLiteral("Version: 1\n"
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
                                        "%(printf '%s\\n' %{programs})\n");
    const QString first = QStringLiteral(
        "%define programs /usr/bin/syncstatus-test-program /opt/syncstatus-test/shared\n"
        "Name: syncstatus-test-first\n");
    const QString second =
        QStringLiteral("%define programs /opt/syncstatus-test/program /opt/syncstatus-test/shared\n"
                       "Name: syncstatus-test-second\n");
    const QString third = QStringLiteral("%define programs %1/installed/program\n"
                                         "Name: syncstatus-test-third\n")
                              .arg(home);
    if (!writeText(home + QLatin1String("/.rpmmacros"), macros) ||
        !writeText(home + QLatin1String("/first.spec"), first + spec) ||
        !writeText(home + QLatin1String("/second.spec"), second + spec) ||
        !writeText(home + QLatin1String("/third.spec"), third + spec)) {
        *problem = QStringLiteral("cannot write to ") + home;
        return false;
    }

    const ScopedVariable variable("HOME", QFile::encodeName(home));
    const QString inDatabaseOnly = QStringLiteral("--justdb");
    for (const auto &[name, how] :
         {std::pair(QStringLiteral("first"), inDatabaseOnly),
          std::pair(QStringLiteral("second"), inDatabaseOnly),
          std::pair(QStringLiteral("third"), QStringLiteral("--nosignature"))}) {
        *problem = run(QStringLiteral("rpmbuild"),
                       {QStringLiteral("-bb"), QStringLiteral("%1/%2.spec").arg(home, name)});
        if (!problem->isEmpty())
            return false;
        // One after the other: an answer with several owners has them in this order.
        *problem = run(QStringLiteral("rpm"),
                       {QStringLiteral("--install"), how, QStringLiteral("--nodeps"),
                        QStringLiteral("--noplugins"), QStringLiteral("--dbpath"),
                        home + QLatin1String("/database"),
                        QStringLiteral("%1/build/RPMS/noarch/syncstatus-test-%2-1-1.noarch.rpm")
                            .arg(home, name)});
        if (!problem->isEmpty())
            return false;
    }
    m_home = home;
    return true;
}

void PackageName::realRpm_data()
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

void PackageName::realRpm()
{
    if (QStandardPaths::findExecutable(QStringLiteral("rpm")).isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("rpmbuild")).isEmpty())
        QSKIP("rpm or rpmbuild is not installed");
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QFETCH(int, exitCode);
    QString problem;
    QVERIFY2(makeRealDatabase(&problem), qPrintable(problem));

    const ScopedVariable home("HOME", QFile::encodeName(m_home));
    LogCapture log;
    QCOMPARE(Utils::getPackageNameByProcessName(name), expected);
    QCOMPARE(log.takeLines(), QStringList{goodLine(query(path), exitCode)});
}

void PackageName::realRpmNamesTheOwnerOfAFileOnDisk()
{
    if (QStandardPaths::findExecutable(QStringLiteral("rpm")).isEmpty() ||
        QStandardPaths::findExecutable(QStringLiteral("rpmbuild")).isEmpty())
        QSKIP("rpm or rpmbuild is not installed");
    QString problem;
    QVERIFY2(makeRealDatabase(&problem), qPrintable(problem));

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

QTEST_GUILESS_MAIN(PackageName)
#include "tst_packagename.moc"

// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "logcapture.h"
#include "testprogram.h"

#include <syncstatus/utils.h>

#include <QTemporaryDir>
#include <QtTest>

using utility::Utils;

class TestSlowCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCommandThatEndsInTheSecondWaitIsRunTwice();
    void aCommandThatEndsInTheThirdWaitIsRunOnce();

private:
    QTemporaryDir m_dir;
};

void TestSlowCommands::aCommandThatEndsInTheSecondWaitIsRunTwice()
{
    const QString command = QStringLiteral("echo x >> %1/second; echo run $(wc -l < %1/second); "
                                           "[ -e %1/again ] || sleep 31; touch %1/again; exit 5")
                                .arg(m_dir.path());
    LogCapture log;
    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    // The process keeps the first wait's time-out as its error although it has ended, so it is
    // started again.
    const QString ended =
        attemptLine(command, QStringLiteral("NormalExit"), 5, QStringLiteral("Timedout"),
                    QStringLiteral("Process operation timed out"));
    QCOMPARE(log.takeLines(), (QStringList{timedOutLine(command), alreadyRunningLine(), ended,
                                           goodLine(command, 5)}));
    QCOMPARE(output, QStringLiteral("run 2\n"));
}

void TestSlowCommands::aCommandThatEndsInTheThirdWaitIsRunOnce()
{
    const QString command =
        QStringLiteral("echo x >> %1/third; echo run $(wc -l < %1/third); sleep 76; exit 5")
            .arg(m_dir.path());
    LogCapture log;
    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    const QString running = timedOutLine(command);
    const QString ended =
        attemptLine(command, QStringLiteral("NormalExit"), 5, QStringLiteral("Timedout"),
                    QStringLiteral("Process operation timed out"));
    QCOMPARE(log.takeLines(),
             (QStringList{running, alreadyRunningLine(), running, alreadyRunningLine(), ended}));
    QCOMPARE(output, QStringLiteral("run 1\n"));
}

SYNCSTATUS_TEST(TestSlowCommands)
#include "tst_slowcommands.moc"

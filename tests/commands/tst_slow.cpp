// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "commandline.h"
#include "logcapture.h"

#include <syncstatus/utils.h>

#include <QTemporaryDir>
#include <QtTest>

using utility::Utils;

class Slow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aCommandThatEndsInTheSecondWaitIsRunTwice();
    void aCommandThatEndsInTheThirdWaitIsRunOnce();

private:
    QTemporaryDir m_dir;
};

void Slow::aCommandThatEndsInTheSecondWaitIsRunTwice()
{
    const QString command = QStringLiteral("echo x >> %1/second; echo run $(wc -l < %1/second); "
                                           "[ -e %1/again ] || sleep 31; touch %1/again; exit 5")
                                .arg(m_dir.path());
    LogCapture log;
    QString output;
    QVERIFY(Utils::executeCmd(command, output));
    // The time-out of the first wait stays the process's error although it has ended meanwhile, so
    // it is started again.
    const QString ended =
        attemptLine(command, QStringLiteral("NormalExit"), 5, QStringLiteral("Timedout"),
                    QStringLiteral("Process operation timed out"));
    QCOMPARE(log.takeLines(), (QStringList{timedOutLine(command), alreadyRunningLine(), ended,
                                           goodLine(command, 5)}));
    QCOMPARE(output, QStringLiteral("run 2\n"));
}

void Slow::aCommandThatEndsInTheThirdWaitIsRunOnce()
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

QTEST_GUILESS_MAIN(Slow)
#include "tst_slow.moc"

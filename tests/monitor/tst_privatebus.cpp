// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "privatebus.h"
#include "testprogram.h"

#include <QDBusConnection>
#include <QTemporaryDir>
#include <QTest>

// The bus for the other tests.
class TestPrivateBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void folderMayHaveAnyName();
};

void TestPrivateBus::folderMayHaveAnyName()
{
    const QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/a <\u00fc> & 'b';%20,=~-"));
    QVERIFY(folder.isValid());
    qputenv("TMPDIR", QFile::encodeName(folder.path()));
    PrivateBus bus;
    QVERIFY(bus.start());
    QVERIFY(QDBusConnection::systemBus().isConnected());
    QVERIFY(
        QDBusConnection::connectToBus(bus.address(), QStringLiteral("by address")).isConnected());
    QDBusConnection::disconnectFromBus(QStringLiteral("by address"));
}

SYNCSTATUS_TEST(TestPrivateBus)

#include "tst_privatebus.moc"

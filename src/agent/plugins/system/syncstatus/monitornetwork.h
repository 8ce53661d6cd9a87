// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MONITORNETWORK_H
#define MONITORNETWORK_H

#include <syncstatus/syncstatus_export.h>

#include <QObject>
#include <QScopedPointer>

class MonitorNetworkPrivate;

/// The process's one source of truth for whether the machine is online.
///
/// The monitor asks NetworkManager on the system D-Bus once, when it is made, and from then on
/// follows NetworkManager's signal `StateChanged(u)`, as sent by the owner of NetworkManager's bus
/// name and nobody else. It answers from a cached flag.
///
/// **It only reports gains.** After construction nothing turns the flag back to false and no loss
/// is announced: `networkStateChange` always carries true, and `getNetworkState()` means "global
/// connectivity has been seen", not "the machine is online at this moment". Do not read "offline"
/// into silence.
///
/// Threads: the monitor lives in the thread that first calls getInstance(), which must run an event
/// loop for signals to arrive; call everything but getInstance() from that thread. First calls of
/// getInstance() from several threads at once are safe. A subscriber in another thread is called
/// there, through its event loop, when it connects as usual (Qt::AutoConnection).
///
/// Blocking: only construction talks to D-Bus and it blocks its caller: one introspection of
/// NetworkManager's root object, one read of "PrimaryConnection" and, when there is such a
/// connection, one read of its "Devices" and one of "State" for each device up to the first that
/// is activated (two while warnings are enabled for the category: one to log, one to test); one
/// call of "state" when no activated device was found. Qt asks the bus itself for the owner of
/// NetworkManager's name as well, however many devices there are. All of it normally takes some
/// milliseconds. A call that is not answered is given up after 25 seconds, libdbus's default; a
/// NetworkManager that is on the bus and answers nothing costs two of them, the introspection and
/// "state". One that stops answering on the way costs one for each read that is left and one for
/// "state". When the bus itself ends during such a call, the call fails at once, unless the event
/// loop has not turned since the process first used the system bus: then QtDBus 5.15 holds the news
/// back and does not return from the call. Signals are held back as long; QtDBus 5 may then deal
/// with later ones first.
///
/// Logging: every line is a warning of the category "org.corvel.license.agent" and begins with
/// "codestack: ". Construction writes "get primary connection path:" with the path, then for each
/// visited device "device interface path:" with its path and "current device network state:" with
/// its state, and at last, unless connectivity was found, "get network state error!", also when
/// NetworkManager did answer and merely reports less than global connectivity. Later, each
/// `StateChanged` writes "current network state is changed:" with the state.
class SYNCSTATUS_EXPORT MonitorNetwork : public QObject
{
    Q_OBJECT

public:
    /// The process-wide monitor, made by the first call (see Blocking above). Null once the monitor
    /// is destroyed, inside exit handlers too; it is not made again. Not the caller's to delete.
    static MonitorNetwork *getInstance() noexcept;

    /// Evaluates connectivity and subscribes to NetworkManager, as described above. Reserved for
    /// getInstance(): a second monitor would only repeat the first one's work.
    ///
    /// When NetworkManager or the bus is absent, or NetworkManager does not answer the
    /// introspection, the flag stays false, and this monitor neither evaluates nor subscribes
    /// again; Qt adds a line of its own about the signal that it could not find. A NetworkManager
    /// that was there and is restarted later is followed, without a new evaluation. A bus that ends
    /// later takes the subscription with it for good, since Qt connects to the system bus once in a
    /// process; the flag stays what it is.
    explicit MonitorNetwork(QObject *parent);
    ~MonitorNetwork() override;

    /// Whether global connectivity was found at construction or has been announced since. Writes
    /// "getNetworkState:" with the answer (the message ends with a newline); no D-Bus traffic.
    bool getNetworkState() noexcept;

Q_SIGNALS:
    /// NetworkManager has reported global connectivity (NM_STATE_CONNECTED_GLOBAL, 70).
    /// \a isConnected is always true. Every such report is passed on, whether or not the flag was
    /// true already. Emitted in the monitor's thread.
    void networkStateChange(bool isConnected);

private Q_SLOTS:
    void onStateChanged(quint32 state);

private:
    Q_DECLARE_PRIVATE(MonitorNetwork)
    Q_DISABLE_COPY(MonitorNetwork)

    QScopedPointer<MonitorNetworkPrivate> d_ptr;
};

#endif

#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

"""A NetworkManager without a network, on the bus that DBUS_SYSTEM_BUS_ADDRESS names.

It starts with its root object alone, without any property or method, writes a line when it is on
the bus, and ends with the bus. It is given its content over D-Bus, through the interface
org.freedesktop.DBus.Mock of its root object: python-dbusmock's own operations (AddMethod, Reset
and so on) and those below.
"""

import dbus
import dbus.mainloop.glib
import dbus.service
import dbusmock.mockobject
from dbusmock import MOCK_IFACE, DBusMockObject
from gi.repository import GLib

NAME = "org.freedesktop.NetworkManager"
PATH = "/org/freedesktop/NetworkManager"


class NetworkManager(DBusMockObject):
    """The root object."""

    # A signal of the class, since dbusmock's own EmitSignal leaves the introspection as it is, and
    # clients subscribe to what they find there.
    @dbus.service.signal(NAME, signature="u")
    def StateChanged(self, state):
        """The global state has changed."""

    @dbus.service.method(MOCK_IFACE, in_signature="au")
    def EmitStates(self, states):
        """Emits StateChanged for each of the states, in order."""
        for state in states:
            self.StateChanged(state)

    @dbus.service.method(MOCK_IFACE, in_signature="ossv")
    def SetProperty(self, path, interface, name, value):
        """Sets a property of any type, adding the object and the property as needed."""
        objects = dbusmock.mockobject.objects
        if path not in objects:
            self.AddObject(path, interface, {}, [])
        # Anew each time: dbusmock's UpdateProperties cannot change a type.
        objects[path].props.get(interface, {}).pop(name, None)
        objects[path].AddProperty(interface, name, value)


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SystemBus()
    name = dbus.service.BusName(NAME, bus, do_not_queue=True)
    dbusmock.mockobject.objects[PATH] = NetworkManager(name, PATH, NAME, {}, logfile="/dev/null")
    print("ready", flush=True)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()

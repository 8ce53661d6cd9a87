#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

"""A NetworkManager without a network, on the bus that DBUS_SYSTEM_BUS_ADDRESS names.

It starts with its root object alone, without any property or method, writes a line when it is on
the bus, and ends with the bus. It is given its content over D-Bus, through the interface
org.freedesktop.DBus.Mock of its root object: python-dbusmock's own operations (AddMethod, Reset
and so on) and those below.
"""

import os
import signal
import time

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
import dbus.service
import dbusmock.mockobject
from dbusmock import MOCK_IFACE, DBusMockObject
from gi.repository import GLib

NAME = "org.freedesktop.NetworkManager"
PATH = "/org/freedesktop/NetworkManager"

# By the object's path and the method's name, and for "Get" the property's name behind it: the
# reply's signature and the code that makes it.
answers = {}


def answer(connection, message):
    """Replies to a call for which there is an answer; leaves others to dbusmock."""
    if not isinstance(message, dbus.lowlevel.MethodCallMessage):
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
    call = message.get_member()
    if call == "Get":
        call += " " + message.get_args_list()[1]
    if (message.get_path(), call) not in answers:
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
    signature, code = answers[message.get_path(), call]
    scope = {"ret": None}
    exec(code, {"dbus": dbus, "os": os, "signal": signal, "time": time}, scope)
    if scope["ret"] is None:
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
    reply = dbus.lowlevel.MethodReturnMessage(message)
    reply.append(*scope["ret"], signature=signature)
    connection.send_message(reply)
    return dbus.lowlevel.HANDLER_RESULT_HANDLED


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

    @dbus.service.method(MOCK_IFACE, in_signature="osav")
    def EmitStateChanged(self, path, signature, values):
        """Emits StateChanged from any object, with values of any types."""
        message = dbus.lowlevel.SignalMessage(path, NAME, "StateChanged")
        message.append(*values, signature=signature)
        self.connection.send_message(message)

    @dbus.service.method(MOCK_IFACE, in_signature="ossv")
    def SetProperty(self, path, interface, name, value):
        """Sets a property of any type, adding the object and the property as needed."""
        objects = dbusmock.mockobject.objects
        if path not in objects:
            self.AddObject(path, interface, {}, [])
        # Anew each time: dbusmock's UpdateProperties cannot change a type.
        objects[path].props.get(interface, {}).pop(name, None)
        objects[path].AddProperty(interface, name, value)

    @dbus.service.method(MOCK_IFACE, in_signature="osss")
    def SetAnswer(self, path, call, signature, code):
        """Sets what runs at each such call in place of dbusmock."""
        answers[path, call] = signature, code


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SystemBus()
    name = dbus.service.BusName(NAME, bus, do_not_queue=True)
    dbusmock.mockobject.objects[PATH] = NetworkManager(name, PATH, NAME, {}, logfile="/dev/null")
    bus.add_message_filter(answer)
    print("ready", flush=True)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()

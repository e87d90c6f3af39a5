#!/usr/bin/python3
"""A status-notifier watcher with a host registered, as a desktop panel provides: toolkits then
see a system tray and register their status items here, and status_menu.py finds them. Items
are listed as "BUS-NAME/OBJECT-PATH" and dropped when their owner leaves the bus."""
from gi.repository import Gio, GLib

WATCHER = "org.kde.StatusNotifierWatcher"
INTERFACE = f"""<node><interface name="{WATCHER}">
  <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
  <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
  <signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
  <signal name="StatusNotifierHostRegistered"/>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
</interface></node>"""


class Watcher:
    def __init__(self, connection):
        self.connection = connection
        self.items = []
        info = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
        connection.register_object("/StatusNotifierWatcher", info, self.method, self.property, None)
        connection.signal_subscribe("org.freedesktop.DBus", "org.freedesktop.DBus",
                                    "NameOwnerChanged", "/org/freedesktop/DBus", None,
                                    Gio.DBusSignalFlags.NONE, self.owner_changed)

    def emit(self, signal, item):
        self.connection.emit_signal(None, "/StatusNotifierWatcher", WATCHER, signal,
                                    GLib.Variant("(s)", (item,)))

    def method(self, _connection, sender, _path, _interface, method, parameters, invocation):
        if method == "RegisterStatusNotifierItem":
            (service,) = parameters.unpack()
            # A bare object path belongs to the caller; a bus name serves the usual path.
            if service.startswith("/"):
                item = sender + service
            else:
                item = service + "/StatusNotifierItem"
            if item not in self.items:
                self.items.append(item)
                print("registered", item, flush=True)
                self.emit("StatusNotifierItemRegistered", item)
        invocation.return_value(None)

    def property(self, _connection, _sender, _path, _interface, name):
        return {"RegisteredStatusNotifierItems": GLib.Variant("as", self.items),
                "IsStatusNotifierHostRegistered": GLib.Variant("b", True),
                "ProtocolVersion": GLib.Variant("i", 0)}[name]

    def owner_changed(self, _connection, _sender, _path, _interface, _signal, parameters):
        name, _old, new = parameters.unpack()
        if new:
            return
        for item in [i for i in self.items if i.split("/", 1)[0] == name]:
            self.items.remove(item)
            print("unregistered", item, flush=True)
            self.emit("StatusNotifierItemUnregistered", item)


def main():
    connection = Gio.bus_get_sync(Gio.BusType.SESSION)
    Watcher(connection)
    Gio.bus_own_name_on_connection(connection, WATCHER, Gio.BusNameOwnerFlags.NONE, None, None)
    print("watching", flush=True)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()

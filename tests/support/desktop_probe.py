#!/usr/bin/python3
"""Looks at a running app from outside, as a panel and a screen reader do, for end-to-end tests.

Tray (over the session bus, as a StatusNotifierItem host sees it):
  items                      the items the StatusNotifierWatcher knows, one a line
  layout ITEM                the item's exported menu: "ID<TAB>ENTRY" a line, where ENTRY is "-"
                             for a divider, "[x] "/"[ ] " before a toggle, " (off)" after what
                             cannot be chosen, and a tab and the keys after one with a shortcut
  click ITEM ID              chooses an entry of that menu, as the panel does on a click
  activate ITEM              a left click on the item

Accessibility (over AT-SPI, by the app's process id):
  menu PID                   the entries of the app's open popup menu, as in "layout" but no
                             IDs and no "[ ] " (Qt does not tell a screen reader which entries
                             can be ticked); it presses Down to move the focus into the menu
  controls PID WINDOW        "ROLE<TAB>NAME<TAB>LABEL" of every control in the window titled
                             WINDOW, where LABEL is the name of what labels it
  set-value PID NAME VALUE   sets the value of the control named NAME; prints the value it took
  act PID NAME               does the first action of the control named NAME

Exits 1 with a message on standard error when what was asked for is not there.
"""
import sys

from gi.repository import Gio, GLib

WATCHER = "org.kde.StatusNotifierWatcher"


def bus():
    return Gio.bus_get_sync(Gio.BusType.SESSION, None)


def call(name, path, interface, method, args, reply):
    return bus().call_sync(name, path, interface, method, args, GLib.VariantType(reply),
                           Gio.DBusCallFlags.NONE, 10000, None).unpack()


def get(name, path, interface, prop):
    return call(name, path, "org.freedesktop.DBus.Properties", "Get",
                GLib.Variant("(ss)", (interface, prop)), "(v)")[0]


def split_item(item):
    name, _, path = item.partition("/")
    return name, "/" + path if path else "/StatusNotifierItem"


def entry_text(props, enabled):
    if props.get("type") == "separator":
        return "-"
    text = props.get("label", "")
    if props.get("toggle-type") in ("checkmark", "radio"):
        text = ("[x] " if props.get("toggle-state") == 1 else "[ ] ") + text
    if not enabled:
        text += " (off)"
    if props.get("shortcut"):
        text += "\t" + "+".join(props["shortcut"][0])
    return text


def layout(item):
    name, path = split_item(item)
    menu = get(name, path, "org.kde.StatusNotifierItem", "Menu")
    _, (_, _, children) = call(name, menu, "com.canonical.dbusmenu", "GetLayout",
                               GLib.Variant("(iias)", (0, -1, [])), "(u(ia{sv}av))")
    for child in children:
        ident, props, _ = child
        print(f"{ident}\t{entry_text(props, props.get('enabled', True))}")


def click(item, ident):
    name, path = split_item(item)
    menu = get(name, path, "org.kde.StatusNotifierItem", "Menu")
    call(name, menu, "com.canonical.dbusmenu", "Event",
         GLib.Variant("(isvu)", (int(ident), "clicked", GLib.Variant("i", 0), 0)), "()")


def activate(item):
    name, path = split_item(item)
    call(name, path, "org.kde.StatusNotifierItem", "Activate", GLib.Variant("(ii)", (0, 0)), "()")


def application(pid):
    import pyatspi
    desktop = pyatspi.Registry.getDesktop(0)
    for i in range(desktop.childCount):
        app = desktop.getChildAtIndex(i)
        try:
            if app is not None and app.get_process_id() == pid:
                return app
        except Exception:
            continue
    sys.exit(f"no accessible application with process id {pid}")


def walk(node):
    yield node
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield from walk(child)


def menu(pid):
    # An open popup is no child of the application's accessible (Qt lists windows, not popups):
    # it is met the way a screen reader meets it, through the focus moving onto one of its
    # entries, here at a press of the Down key.
    import subprocess
    import pyatspi
    found = []

    def focused(event):
        source = event.source
        try:
            if not event.detail1 or source.get_process_id() != pid:
                return
            parent = source.parent
            if parent is not None and parent.getRole() in (pyatspi.ROLE_MENU,
                                                           pyatspi.ROLE_POPUP_MENU):
                found.append(parent)
                pyatspi.Registry.stop()
        except Exception:
            pass

    def press():
        subprocess.run(["xdotool", "key", "Down"], check=False)
        return False

    def give_up():
        pyatspi.Registry.stop()
        return False

    pyatspi.Registry.registerEventListener(focused, "object:state-changed:focused")
    GLib.timeout_add(300, press)
    GLib.timeout_add(5000, give_up)
    pyatspi.Registry.start()
    if not found:
        sys.exit("no open menu")
    shown = found[0]
    for i in range(shown.childCount):
        entry = shown.getChildAtIndex(i)
        role, states = entry.getRole(), entry.getState()
        if role == pyatspi.ROLE_SEPARATOR:
            print("-")
            continue
        text = entry.name
        if states.contains(pyatspi.STATE_CHECKED):
            text = "[x] " + text
        if not states.contains(pyatspi.STATE_ENABLED):
            text += " (off)"
        print(text)


def controls_of(pid, window=None):
    import pyatspi
    kinds = {pyatspi.ROLE_SLIDER, pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_TOGGLE_BUTTON,
             pyatspi.ROLE_CHECK_BOX, pyatspi.ROLE_COMBO_BOX, pyatspi.ROLE_RADIO_BUTTON,
             pyatspi.ROLE_SPIN_BUTTON, pyatspi.ROLE_TEXT}
    app = application(pid)
    roots = [app.getChildAtIndex(i) for i in range(app.childCount)]
    if window is not None:
        roots = [root for root in roots if root is not None and root.name == window]
        if not roots:
            sys.exit(f"no window named {window!r}")
    for root in roots:
        for node in walk(root):
            if node.getRole() in kinds:
                yield node


def label_of(node):
    import pyatspi
    for relation in node.getRelationSet():
        if relation.getRelationType() == pyatspi.RELATION_LABELLED_BY and relation.getNTargets():
            return relation.getTarget(0).name
    return ""


def named(pid, name):
    for node in controls_of(pid):
        if node.name == name:
            return node
    sys.exit(f"no control named {name!r}")


def main(argv):
    if len(argv) < 2:
        sys.exit(__doc__)
    command, args = argv[1], argv[2:]
    if command == "items":
        for item in get(WATCHER, "/StatusNotifierWatcher", WATCHER,
                        "RegisteredStatusNotifierItems"):
            print(item)
    elif command == "layout":
        layout(args[0])
    elif command == "click":
        click(args[0], args[1])
    elif command == "activate":
        activate(args[0])
    elif command == "menu":
        menu(int(args[0]))
    elif command == "controls":
        for node in controls_of(int(args[0]), args[1]):
            print(f"{node.getRoleName()}\t{node.name}\t{label_of(node)}")
    elif command == "set-value":
        value = named(int(args[0]), args[1]).queryValue()
        value.currentValue = float(args[2])
        print(f"{value.currentValue:g}")
    elif command == "act":
        named(int(args[0]), args[1]).queryAction().doAction(0)
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv)

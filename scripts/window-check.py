#!/usr/bin/python3
"""Reads Quellmark's window through the accessibility tree; the half of window-check that talks
to AT-SPI. Arguments: the program's process id, how many seconds it may take to come up on
the accessibility bus, the words the inspector's verdict on the first row must begin with
(empty: not looked at), then the names that the list must show as its rows, in order. Exits 0
when the window shows them, the first one opens into attribute rows and, with Ctrl+I, the
inspector shows its verdict.

Debian's /usr/bin/python3 is meant: pyatspi comes from python3-pyatspi.
"""
import subprocess
import sys
import time

import pyatspi

TREE_ROLES = (pyatspi.ROLE_TREE, pyatspi.ROLE_TREE_TABLE, pyatspi.ROLE_TABLE)


def fail(message):
    sys.exit(f"window-check: {message}")


def running(pid):
    """Whether the process is there and not a zombie."""
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


def wait_for(what, probe, pid, timeout=30.0):
    end = time.monotonic() + timeout
    while True:
        if not running(pid):
            fail(f"the program ended while waiting for {what}")
        try:
            value = probe()
        except Exception:  # objects of a window that is still being built come and go
            value = None
        if value:
            return value
        if time.monotonic() > end:
            fail(f"timed out waiting for {what}")
        time.sleep(0.2)


def application(pid):
    for app in pyatspi.Registry.getDesktop(0):
        if app is not None and app.get_process_id() == pid:
            return app
    return None


def descendants(obj):
    yield obj
    if obj.getRole() in TREE_ROLES:
        return
    for i in range(obj.childCount):
        child = obj.getChildAtIndex(i)
        if child is not None:
            yield from descendants(child)


def showing_tree(app):
    for obj in descendants(app):
        if obj.getRole() in TREE_ROLES and obj.getState().contains(pyatspi.STATE_SHOWING):
            return obj
    return None


def rows(tree):
    """The rows now shown, each as (x of its first cell, expandable, expanded, cells)."""
    table = tree.queryTable()
    out = []
    for r in range(table.nRows):
        cells = [table.getAccessibleAt(r, c) for c in range(table.nColumns)]
        state = cells[0].getState()
        x = cells[0].queryComponent().getExtents(pyatspi.DESKTOP_COORDS).x
        out.append((x, state.contains(pyatspi.STATE_EXPANDABLE),
                    state.contains(pyatspi.STATE_EXPANDED), [c.name or "" for c in cells]))
    return out


def main():
    if len(sys.argv) < 4:
        fail("usage: window-check.py PID SECONDS VERDICT [ROW NAME]...")
    pid = int(sys.argv[1])
    verdict = sys.argv[3]
    expected = sys.argv[4:]

    app = wait_for("the program on the accessibility bus", lambda: application(pid), pid,
                   float(sys.argv[2]))
    if app.name != "Quellmark":
        fail(f"the program calls itself {app.name!r}, not 'Quellmark'")
    tree = wait_for("the list to show", lambda: showing_tree(app), pid)
    shown = wait_for(f"{len(expected)} rows", lambda: len(rows(tree)) >= len(expected)
                     and rows(tree), pid)
    names = [cells[0] for _, _, _, cells in shown]
    if names != expected:
        fail(f"the list shows {names}, expected {expected}")
    if not all(expandable and not expanded for _, expandable, expanded, _ in shown):
        fail("every receipt row should be closed and openable")
    print(f"window-check: the list shows {names}")

    # Open the first row as a person would: click it, then press Right.
    first = tree.queryTable().getAccessibleAt(0, 0).queryComponent()
    x, y, w, h = first.getExtents(pyatspi.DESKTOP_COORDS)
    wid = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(pid)],
                         capture_output=True, text=True, check=True).stdout.split()[0]
    subprocess.run(["xdotool", "windowfocus", "--sync", wid], check=True)
    subprocess.run(["xdotool", "mousemove", "--sync", str(x + w // 2), str(y + h // 2),
                    "click", "1", "key", "Right"], check=True)
    opened = wait_for("the first row to open",
                      lambda: len(rows(tree)) > len(expected) and rows(tree), pid)
    top_x = opened[0][0]
    children = []
    for x, _, _, cells in opened[1:]:
        if x == top_x:
            break
        children.append(cells)
    if not children or not all(cells[1] for cells in children):
        fail(f"the first row opened into {children}, expected attribute rows with a key")
    print(f"window-check: {names[0]} opens into {len(children)} attribute rows, "
          f"the first {children[0][1]!r}")
    if not verdict:
        return

    # The first row is selected: the inspector shows its verdict as the first of its lines.
    subprocess.run(["xdotool", "key", "ctrl+i"], check=True)
    line = wait_for("the inspector's verdict", lambda: verdict_line(app), pid)
    if not line.startswith(verdict):
        fail(f"the inspector says {line!r}, expected it to begin with {verdict!r}")
    print(f"window-check: the inspector says {line!r}")


def verdict_line(app):
    """The inspector's signature line, when it shows: a label described as "Signature"."""
    for obj in descendants(app):
        if (obj.getRole() == pyatspi.ROLE_LABEL and obj.description == "Signature"
                and obj.getState().contains(pyatspi.STATE_SHOWING) and obj.name):
            return obj.name
    return None


if __name__ == "__main__":
    main()

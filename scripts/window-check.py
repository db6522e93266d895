#!/usr/bin/python3
"""Reads Quellmark's window through the accessibility tree; the half of window-check that talks
to AT-SPI. Arguments: the program's process id, how many seconds it may take to come up on
the accessibility bus, the words the inspector's verdict on the first row must begin with
(empty: not looked at), then the names that the list must show as its rows, in order. Exits 0
when the window shows them, the first one opens into attribute rows and, with Ctrl+I, the
inspector shows its verdict.

With WINDOW_CHECK_DROP naming a folder and WINDOW_CHECK_DRAG_SOURCE the program
quellmark-dragsource, the files of that folder (in the byte order of their names) are then
dragged from that other program onto the list: while they are read the window must show its
progress ("Reading K of N…") and keep answering, and then it must list one receipt row for
each file, in their order, behind the rows it had. The longest time the window took to answer
one question meanwhile is printed; above WINDOW_CHECK_MAX_GAP seconds (1 unless given) the
check fails.

Debian's /usr/bin/python3 is meant: pyatspi comes from python3-pyatspi.
"""
import os
import re
import subprocess
import sys
import tempfile
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
    if verdict:
        # The first row is selected: the inspector shows its verdict as the first of its lines.
        subprocess.run(["xdotool", "key", "ctrl+i"], check=True)
        line = wait_for("the inspector's verdict", lambda: verdict_line(app), pid)
        if not line.startswith(verdict):
            fail(f"the inspector says {line!r}, expected it to begin with {verdict!r}")
        print(f"window-check: the inspector says {line!r}")

    folder = os.environ.get("WINDOW_CHECK_DROP")
    if folder:
        # Close the first row again, so that the list's rows are its top-level ones.
        subprocess.run(["xdotool", "mousemove", "--sync", str(x + w // 2), str(y + h // 2),
                        "click", "1", "key", "Left"], check=True)
        wait_for("the first row to close", lambda: len(rows(tree)) == len(expected), pid)
        drop_check(app, pid, tree, wid, folder, os.environ["WINDOW_CHECK_DRAG_SOURCE"],
                   float(os.environ.get("WINDOW_CHECK_MAX_GAP", "1")))


def progress_label(app):
    """The label of the window's progress: the one described as "Progress"."""
    for obj in descendants(app):
        if obj.getRole() == pyatspi.ROLE_LABEL and obj.description == "Progress":
            return obj
    return None


def drop_check(app, pid, tree, wid, folder, source, max_gap):
    """Drags the files of `folder` from quellmark-dragsource onto the list and follows the
    reading from outside, as a screen reader would."""
    names = sorted(os.listdir(os.fsencode(folder)))
    files = [os.path.join(os.fsencode(folder), n) for n in names]
    files = [f for f in files if os.path.isfile(f)]
    names = [os.fsdecode(os.path.basename(f)) for f in files]
    before = [cells[0] for _, _, _, cells in rows(tree)]
    label = wait_for("the progress label", lambda: progress_label(app), pid)

    with tempfile.NamedTemporaryFile("wb", suffix=".list", delete=False) as listing:
        listing.write(b"".join(f + b"\n" for f in files))
    env = dict(os.environ)
    env.pop("AT_SPI_BUS_ADDRESS", None)
    dragger = subprocess.Popen([source, "--at", "900,600", "@" + listing.name],
                               stdout=subprocess.PIPE, text=True, env=env)
    try:
        source_wid = wait_for("the drag source's window", lambda: subprocess.run(
            ["xdotool", "search", "--onlyvisible", "--pid", str(dragger.pid)],
            capture_output=True, text=True).stdout.split(), pid)[0]
        geometry = dict(line.split("=") for line in subprocess.run(
            ["xdotool", "getwindowgeometry", "--shell", source_wid],
            capture_output=True, text=True, check=True).stdout.split())
        sx = int(geometry["X"]) + int(geometry["WIDTH"]) // 2
        sy = int(geometry["Y"]) + int(geometry["HEIGHT"]) // 2
        tx, ty, tw, th = tree.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        tx, ty = tx + tw // 2, ty + th // 2
        # A press on the source, then motion in steps: the first starts the drag, the rest
        # carry it over the window by XDND, where the release drops it.
        subprocess.run(["xdotool", "mousemove", "--sync", str(sx), str(sy), "mousedown", "1"],
                       check=True)
        for i in range(1, 9):
            subprocess.run(["xdotool", "mousemove", str(sx + (tx - sx) * i // 8),
                            str(sy + (ty - sy) * i // 8)], check=True)
            time.sleep(0.05)
        subprocess.run(["xdotool", "mousemove", str(tx + 3), str(ty + 3)], check=True)
        time.sleep(0.2)
        started = time.monotonic()
        subprocess.run(["xdotool", "mouseup", "1"], check=True)

        # Ask the window, again and again, how far it has got, until its rows are all there.
        pattern = re.compile(r"Reading ([\d,]+) of ([\d,]+)\u2026")
        texts, longest, end = [], 0.0, started + 600
        expected = len(before) + len(files)
        while True:
            if not running(pid):
                fail("the program ended during the drop")
            asked = time.monotonic()
            showing = label.getState().contains(pyatspi.STATE_SHOWING)
            text = label.name or ""
            count = tree.queryTable().nRows
            longest = max(longest, time.monotonic() - asked)
            if showing and (not texts or texts[-1] != text):
                texts.append(text)
            if count >= expected and not showing:
                break
            if time.monotonic() > end:
                fail(f"the drop was not read: {count} rows of {expected}")
            time.sleep(0.02)
        took = time.monotonic() - started
    finally:
        out = ""
        if dragger.poll() is None:
            try:
                out, _ = dragger.communicate(timeout=10)
            except subprocess.TimeoutExpired:
                dragger.kill()
                out, _ = dragger.communicate()
        os.unlink(listing.name)
    if "drag: accepted" not in (out or ""):
        fail(f"the drag source says {out.strip()!r}, not that the drop was accepted")
    total = f"{len(files):,}"
    counted = [m for m in map(pattern.fullmatch, texts) if m]
    if not counted or any(m.group(2) != total for m in counted):
        fail(f"while {len(files)} files were read the window said {texts!r}")
    shown = [cells[0] for _, expandable, _, cells in rows(tree)]
    if shown != before + names:
        fail(f"after the drop the list shows {shown[len(before):][:10]}... "
             f"expected {names[:10]}...")
    print(f"window-check: a drop of {len(files)} files from another program read in {took:.1f} s,"
          f" the window saying {texts[0]!r} to {texts[-1]!r} ({len(texts)} texts), then all"
          f" its rows in order; the longest answer took {longest * 1000:.0f} ms")
    if longest > max_gap:
        fail(f"the window took {longest:.2f} s to answer, more than {max_gap} s")


def verdict_line(app):
    """The inspector's signature line, when it shows: a label described as "Signature"."""
    for obj in descendants(app):
        if (obj.getRole() == pyatspi.ROLE_LABEL and obj.description == "Signature"
                and obj.getState().contains(pyatspi.STATE_SHOWING) and obj.name):
            return obj.name
    return None


if __name__ == "__main__":
    main()

"""Tells what assistive tools see of a program, by the accessibility bus: a line for each object that shows, with its
depth, role, name, description, states and keys, separated by "|". With --do NAME ACTION it acts on the object of that
name first."""

import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

STATES = ["FOCUSABLE", "FOCUSED", "CHECKABLE", "CHECKED", "SELECTABLE", "SELECTED", "ENABLED"]


def find_program(name):
    for _ in range(200):
        desktop = Atspi.get_desktop(0)
        for i in range(desktop.get_child_count()):
            program = desktop.get_child_at_index(i)
            if program is not None and program.get_name() == name:
                return program
        time.sleep(0.1)
    sys.exit("no such program on the bus")


def showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def walk(node, depth=0):
    yield node, depth
    for i in range(node.get_child_count()):
        child = node.get_child_at_index(i)
        if child is not None and showing(child):
            yield from walk(child, depth + 1)


def keys_of(node):
    try:
        action = node.get_action_iface()
        return " ".join(action.get_key_binding(i) for i in range(action.get_n_actions())).strip() if action else ""
    except Exception:
        return ""


def act(program, name, wanted):
    for node, _ in walk(program):
        if node.get_name() == name and node.get_action_iface():
            action = node.get_action_iface()
            for i in range(action.get_n_actions()):
                if action.get_action_name(i) == wanted:
                    action.do_action(i)
                    return
    sys.exit("nothing to act on: " + name)


def main():
    program = find_program(sys.argv[1])
    if len(sys.argv) > 3 and sys.argv[2] == "--do":
        act(program, sys.argv[3], sys.argv[4])
    for node, depth in walk(program):
        states = node.get_state_set()
        words = [s.lower() for s in STATES if states.contains(getattr(Atspi.StateType, s))]
        print("|".join([str(depth), node.get_role_name(), node.get_name(), node.get_description(), " ".join(words), keys_of(node)]))


main()

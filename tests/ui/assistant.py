"""What an assistive program is told of the first window on the accessibility bus: a line for each thing that has a name
or is labelled, with the names of what labels it. Then it presses the button.

Needs the system's own Python, which is the one that Debian's bindings are for.
"""
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402  (the version comes first)

PATIENCE = 30  # seconds


def below(thing):
    yield thing
    for index in range(thing.get_child_count()):
        yield from below(thing.get_child_at_index(index))


def window():
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()  # nobody hears here of what changes
        for thing in below(desktop):
            if thing.get_role() == Atspi.Role.DIALOG and thing.get_name().startswith("50%"):
                return thing
        time.sleep(0.1)
    raise SystemExit("no dialog")


def targets(thing, kind):
    return [relation.get_target(index).get_name() for relation in thing.get_relation_set()
            if relation.get_relation_type() == kind for index in range(relation.get_n_targets())]


things = list(below(window()))
for thing in things:
    focus = " (focused)" if thing.get_state_set().contains(Atspi.StateType.FOCUSED) else ""
    labels = targets(thing, Atspi.RelationType.LABELLED_BY)
    if thing.get_name() or labels:
        print(f"{thing.get_role_name()}: {thing.get_name()}{focus}", *labels, sep=" < ")
    if thing.get_role() == Atspi.Role.PROGRESS_BAR:
        print("at", thing.get_value_iface().get_current_value())
button = things[-1].get_action_iface()
assert button.get_action_name(0) == "click"
button.do_action(0)

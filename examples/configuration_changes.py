"""Shows what differs between two texts of the router's configuration: a "+" before a line that has come, a "-" before
one that has gone, and the head of its section above it. A line is known by its section, not by its place.
"""

from collections.abc import Iterator


def sections(configuration: str) -> Iterator[tuple[str, list[str]]]:
    """The head, which is empty where the lines are the whole router's, and the lines, the head among them."""
    lines: list[str] = []
    for line in [*configuration.splitlines(), "return"]:
        if line.startswith("#") or line == "return":
            if lines:
                yield "" if lines[0].startswith(" ") else lines[0], lines
            lines = []
        else:
            lines.append(line)


def print_lines_without(configuration: str, other: str, sign: str) -> bool:
    """Prints the lines of one configuration that the other has not; whether there were any."""
    known = {(head, line) for head, lines in sections(other) for line in lines}
    any_printed = False
    for head, lines in sections(configuration):
        missing = [line for line in lines if (head, line) not in known]
        if not missing:
            continue
        print("  #")
        if head and missing[0] != head:
            print(f"  {head}")
        for line in missing:
            print(f"{sign} {line}")
        any_printed = True
    return any_printed


def print_changes(before: str, after: str) -> None:
    gone = print_lines_without(before, after, "-")
    come = print_lines_without(after, before, "+")
    if not gone and not come:
        print("  (no change)")

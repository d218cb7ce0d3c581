#!/usr/bin/env python3
"""Runs commands on the router and saves its configuration.

    session.py [CLIENT-NAME]

What is opened is closed in reverse, whatever failed in between: that is what the with blocks are for. Status 0 when
everything went as it should. What went wrong in detail stands in the system log.
"""

import sys

import qel_api

COMMANDS = ["display version", "system-view", "sysname Branch-7", "return", "display interface brief"]


def show(output: str) -> None:
    if output:
        print(output, end="" if output.endswith("\n") else "\n")


def run(cli: qel_api.Cli, command: str) -> None:
    """Runs one command and shows what the router printed."""
    print(f"\n> {command}")
    show(cli.execute(command))


def run_mistyped(cli: qel_api.Cli) -> None:
    """A command that the router does not know: the exception has the router's own error text."""
    try:
        run(cli, "display verison")
    except qel_api.CommandError as error:
        show(error.output)
        print(f"(rejected, as it should be; result code {error.code:d})")
    else:
        sys.exit("session: the mistyped command was not rejected")


def use_cli(cli: qel_api.Cli) -> None:
    for command in COMMANDS:
        run(cli, command)
    run_mistyped(cli)

    # The router asks whether to continue; save() answers. With execute() the answer to a prompt goes into its second
    # argument: {"continue": "y"}.
    cli.save()
    print("\nThe configuration is saved.")


def main() -> None:
    # Line by line, also into a pipe, so that the output keeps its place among the log's lines.
    sys.stdout.reconfigure(line_buffering=True)

    print(qel_api.version())
    with qel_api.Session(sys.argv[1] if len(sys.argv) > 1 else "example") as session:
        print(f"Session {session.handle} is open.")
        session.keepalive()  # a program that is idle for long repeats this; the library never does so by itself
        with session.cli() as cli:
            use_cli(cli)


if __name__ == "__main__":
    try:
        main()
    except (qel_api.QelError, ValueError) as error:
        sys.exit(f"session: {error}")

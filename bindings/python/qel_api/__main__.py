"""python3 -m qel_api: the library's version, and what the package is for."""

import sys

import qel_api

HELP = """\
Programs on a Quor router talk to the router's own management service.

    import qel_api

    with qel_api.Session("name") as session:
        with session.cli() as cli:
            print(cli.execute("display version"))

Session(name)         .cli()  .events()  .keepalive()  .close()
Cli                   .execute(command, choices)  .save()  .close()
EventHandle           .add(tag, filter)  .register(callback)  .close()
qel_api.snmp          get  get_next  walk
qel_api.syslog        write
qel_api.queries       serial_number  location  calls  and more
qel_api.provisioning  cellular_open  cellular_close
                      wlan_create_ap  wlan_delete_ap
qel_api.errors        QelError and its subclasses, ResultCode

QEL_API_LIBRARY       the shared object's file; without it libqel_api.so.2
                      is looked for
help(qel_api)         tells of threads, time-outs, errors and texts
"""


def main(arguments: list[str]) -> int:
    if arguments not in ([], ["-h"], ["--help"]):
        print("usage: python3 -m qel_api", file=sys.stderr)
        return 2
    print(qel_api.version())
    print()
    print(HELP, end="")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

"""The router's own system log."""

from ._call import call, encode


def write(text1: str, text2: str, text3: str) -> None:
    """Has the service write a message into the device's system log, by the process's session. What each of the three
    texts is, is the service's business. Waits for the service, at most 60 seconds."""
    call("vela_syslog", *(encode(text, "a text") for text in (text1, text2, text3)))

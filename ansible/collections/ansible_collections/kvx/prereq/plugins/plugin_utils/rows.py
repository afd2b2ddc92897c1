"""The row of each host, as kvxprereqreport reads it: HOST/{report,status,errors,reason} in a directory of the run.

That directory is in Ansible's own temporary one, which nobody else can enter and which is removed after the run."""

import contextlib
import hashlib
import json
import os
import re
import urllib.parse

from ansible import constants

FILES = ("report", "status", "errors", "reason")
LONGEST_NAME = 255
LONGEST_REASON = 1000


def run_directory():
    """Returns the directory of the role in that of the run."""
    # pylint: disable-next=no-member # the settings are made when they are loaded
    return os.path.join(constants.DEFAULT_LOCAL_TMP, "prereqcheck")


def hosts_directory():
    """Returns the directory of the rows."""
    return os.path.join(run_directory(), "hosts")


def earlier_directory():
    """Where the JSON of an earlier run is, if this one is compared with it."""
    return os.path.join(run_directory(), "earlier")


def directory_name(host):
    """Returns the name of a host as one path component. Other characters are percent-encoded: no two are equal."""
    encoded = re.sub(
        rb"[^A-Za-z0-9._-]|^[.]", lambda found: b"%%%02X" % found[0][0], host.encode("utf-8", "surrogateescape")
    ).decode("ascii")
    if len(encoded) <= LONGEST_NAME:
        return encoded
    return encoded[:180] + "~" + hashlib.sha256(encoded.encode()).hexdigest()


def shown_name(host):
    """Returns the name of a host from its path component, as kvxprereqreport does."""
    return urllib.parse.unquote(directory_name(host), errors="surrogateescape")


def write(host, files):
    """Replaces the row of a host by files (bytes by name). Fails after the end of the run: its directory is gone."""
    directory = os.path.join(hosts_directory(), directory_name(host))
    with contextlib.suppress(FileExistsError):
        os.mkdir(directory)
    for name in FILES:
        path = os.path.join(directory, name)
        if os.path.lexists(path):
            os.unlink(path)
        if files.get(name):
            with open(path, "wb") as file:
                file.write(files[name])


def is_there(host):
    """Returns whether a host has a row."""
    return os.path.isdir(os.path.join(hosts_directory(), directory_name(host)))


def without_answer(reason, errors=""):
    """Returns the row of a host without a status. The reason may be a text of the host."""
    shown = "".join(letter if letter.isprintable() else "?" for letter in reason[:LONGEST_REASON])
    return {
        "reason": shown.encode(),
        "errors": errors.encode("utf-8", "surrogateescape"),
    }


def read_settings():
    """Returns what prepare.py has prepared; nothing before that."""
    try:
        with open(os.path.join(run_directory(), "settings"), encoding="utf-8") as file:
            return json.load(file)
    except FileNotFoundError:
        return {}

"""Writes DIRECTORY/HOST/{report,status,errors,reason} from what the hosts answered.

collect.py DIRECTORY: standard input is the word "answers" and a JSON object for each host, its name and the engine's
results of the two tasks: {"host": NAME, "machine": RESULT, "run": RESULT}. Every host gets its directory; what is missing
in the answer is a reason. Directories of earlier runs are emptied.
"""

import base64
import json
import os
import re
import sys

FILES = ("report", "status", "errors", "reason")


def read_answers(text):
    decoder = json.JSONDecoder()
    at = len("answers ")
    while at < len(text.rstrip()):
        results, at = decoder.raw_decode(text, at)
        yield results
        at += len(text[at:]) - len(text[at:].lstrip())


def directory_name(host):
    """The host's name as one plain path component: everything else is percent-encoded, so that no two are the same."""
    encoded = re.sub(
        rb"[^A-Za-z0-9._-]|^[.]", lambda found: b"%%%02X" % found[0][0], host.encode("utf-8", "surrogateescape")
    )
    return encoded.decode("ascii")


def first_line(text):
    lines = str(text).strip().splitlines()
    return lines[0] if lines else ""


def answer(text):
    """What the host said, by its words; empty when the end is missing."""
    lines = [line.partition(" ") for line in text.splitlines()]
    if not lines or lines[-1][0] != "end":
        return {}
    said = {}
    for word, _, value in lines[:-1]:
        if word in FILES:
            said[word] = value.encode() + b"\n" if word == "status" else base64.b64decode(value)
    return said


def reason_without_answer(machine, run):
    if machine.get("unreachable") or run.get("unreachable"):
        return "unreachable: " + first_line((run if run.get("unreachable") else machine).get("msg", ""))
    if machine.get("rc", 1) != 0:
        return "no answer to uname: " + first_line(machine.get("stderr") or machine.get("msg", ""))
    if run.get("skipped") or not run:
        return "no archive for architecture " + first_line(machine.get("stdout", ""))
    if "timedout" in run:
        return "out of time: the host did not answer any more"
    return "no whole answer: " + first_line(run.get("msg") or run.get("stderr", ""))


def result_of(results):
    machine = results.get("machine") or {}
    run = results.get("run") or {}
    said = answer(run.get("stdout", ""))
    return said or {"reason": reason_without_answer(machine, run).encode("utf-8", "replace")}


def empty(directory):
    """Removes what an earlier run wrote, and nothing else."""
    for host in os.scandir(directory):
        if not host.is_dir(follow_symlinks=False):
            continue
        for name in FILES:
            try:
                os.unlink(os.path.join(host.path, name))
            except FileNotFoundError:
                pass
        try:
            os.rmdir(host.path)
        except OSError:
            pass


def main():
    directory = sys.argv[1]
    os.makedirs(directory, exist_ok=True)
    empty(directory)
    for results in read_answers(sys.stdin.read()):
        place = os.path.join(directory, directory_name(results["host"]))
        os.makedirs(place, exist_ok=True)
        for name, content in result_of(results).items():
            with open(os.path.join(place, name), "wb") as file:
                file.write(content)


main()

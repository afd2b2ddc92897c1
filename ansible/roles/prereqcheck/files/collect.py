"""Writes DIRECTORY/HOST/{report,status,errors,reason} from what the hosts answered.

collect.py DIRECTORY: standard input is the word "answers" and a JSON object for each host, its name and the engine's
results of three tasks: {"host": NAME, "variables": RESULT, "machine": RESULT, "run": RESULT}. Every host gets its directory; what is missing
in the answer is a reason. What earlier runs wrote is removed. Prints a line for each host.
"""

import base64
import hashlib
import json
import os
import re
import sys

FILES = ("report", "status", "errors", "reason")
LONGEST_NAME = 255


def read_answers(text):
    decoder = json.JSONDecoder()
    text = text.rstrip()
    at = len("answers ")
    while at < len(text):
        results, at = decoder.raw_decode(text, at)
        yield results
        while text[at : at + 1].isspace():
            at += 1


def directory_name(host):
    """The host's name as one plain path component: everything else is percent-encoded, so that no two are the same."""
    encoded = re.sub(
        rb"[^A-Za-z0-9._-]|^[.]", lambda found: b"%%%02X" % found[0][0], host.encode("utf-8", "surrogateescape")
    ).decode("ascii")
    if len(encoded) <= LONGEST_NAME:
        return encoded
    return encoded[:180] + "~" + hashlib.sha256(encoded.encode()).hexdigest()


def last_line(text):
    """Where the fault stands: above it are banners and the way there."""
    lines = [line.strip() for line in str(text).splitlines() if line.strip()]
    return lines[-1] if lines else ""


def answer(text):
    """What the host said, by its words; empty when the end is missing."""
    lines = [line.partition(" ") for line in text.splitlines()]
    if not lines or lines[-1][0] != "end":
        return {}
    said = {word: value for word, _, value in lines if word in FILES}
    for word in ("report", "errors"):
        said[word] = base64.b64decode(said.get(word, ""))
    return said


def plain(error):
    """A wrong type without the engine's own names of types."""
    return re.sub(r" is of type .* unable to convert to (\w+):.*", r" is not of type \1", error)


def timed_out(result):
    return "expected time frame" in result.get("msg", "")


def reason_without_answer(variables, machine, run):
    if variables.get("argument_errors"):
        return "not asked: " + "; ".join(map(plain, variables["argument_errors"]))
    if not machine:
        return "not asked: see what the play said about this host"
    if machine.get("unreachable"):
        return "unreachable: " + last_line(machine.get("msg", ""))
    if timed_out(machine):
        return "unreachable: no answer to uname"
    if machine.get("rc", 1) != 0:
        return "no answer to uname: " + last_line(machine.get("stderr") or machine.get("msg", ""))
    if run.get("skipped"):
        return "no archive for architecture " + last_line(machine.get("stdout", ""))
    if run.get("unreachable"):
        return "the link was cut while the check ran"
    if timed_out(run):
        return "out of time: the host did not answer any more"
    if "cmd" in run:
        return f"the check was ended on the host, with status {run.get('rc')}"
    details = last_line(run.get("module_stderr") or run.get("module_stdout") or run.get("stderr") or run.get("msg", ""))
    return "the check could not be run: " + details


def result_of(results):
    """Content by file name."""
    machine, run = results["machine"], results["run"]
    said = answer(run.get("stdout", ""))
    if said:
        return said
    return {"reason": reason_without_answer(results["variables"], machine, run), "errors": run.get("module_stderr", "")}


def empty(directory):
    """Removes what an earlier run wrote, and nothing else."""
    for host in os.scandir(directory):
        if not host.is_dir(follow_symlinks=False):
            continue
        for name in FILES:
            if os.path.lexists(os.path.join(host.path, name)):
                os.unlink(os.path.join(host.path, name))
        if not os.listdir(host.path):
            os.rmdir(host.path)


def write(directory, files):
    os.makedirs(directory, exist_ok=True)
    for name, content in files.items():
        if isinstance(content, str):
            content = content.encode("utf-8", "surrogateescape")
        if content:
            with open(os.path.join(directory, name), "wb") as file:
                file.write(content)


def main(directory):
    os.makedirs(directory, exist_ok=True)
    empty(directory)
    for results in read_answers(sys.stdin.read()):
        files = result_of(results)
        write(os.path.join(directory, directory_name(results["host"])), files)
        print(ascii(results["host"]), "reason: " + ascii(files["reason"]) if "reason" in files else "status " + files["status"])


main(sys.argv[1])

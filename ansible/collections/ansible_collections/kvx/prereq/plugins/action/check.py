"""Checks one host with one login. Script and archive go through standard input: nothing on the way expands them."""

import base64
import os
import re
import resource
import secrets
import shlex
import signal
import time

from ansible.errors import AnsibleConnectionFailure, AnsibleError
from ansible.plugins.action import ActionBase

from ansible_collections.kvx.prereq.plugins.plugin_utils import rows
from ansible_collections.kvx.prereq.plugins.plugin_utils.variables import (
    ROLE,
    WrongVariables,
    load_options,
    program_words,
    read_for_host,
)

# The host enforces the time limit itself; this one is for a link that hangs.
PATIENCE = 60
# 16 MB in base64, and the output of the login
LONGEST_ANSWER = 24 * 1024 * 1024
# how much memory of the controller the answer may use while it arrives
MEMORY = 8 * LONGEST_ANSWER
TICK = 0.25
# dd reads the script only: the script reads the rest
COMMAND = 'eval "$(dd bs=1 count={length} 2>/dev/null)"'
LONGEST_ERRORS = 64 * 1024


class NoAnswer(Exception):
    """Says why there is no status. The host's standard error may say more."""

    def __init__(self, reason, errors=""):
        super().__init__(reason)
        self.errors = errors[:LONGEST_ERRORS]


class GivenUp(BaseException):
    """Is not an Exception, because Ansible would take one for a failed connection and try again."""


def last_line(text):
    """Returns the reason in an error text. Before it are banners, ssh's own lines and Ansible's words."""
    lines = [line.strip() for line in str(text).splitlines() if line.strip()]
    return re.sub(r"^.*? (via|over) ssh: ", "", lines[-1]) if lines else ""


def memory_at_most():
    """Returns the peak memory of this process in bytes; Linux counts kilobytes."""
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def end_children():
    """Ends the processes that Ansible started for the connection: they would wait for the host without end."""
    try:
        with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as file:
            children = file.read().split()
    except OSError:
        return
    for child in children:
        os.kill(int(child), signal.SIGTERM)


class Limits:
    """Gives up after so many seconds, or when the host sends more than an answer can have."""

    def __init__(self, seconds):
        self.seconds = seconds
        self.until = time.monotonic() + seconds
        self.most = memory_at_most() + MEMORY
        self.handler = None

    def look(self, _signal, _frame):
        """Called at each tick."""
        if time.monotonic() > self.until:
            raise GivenUp(f"out of time: no answer within {self.seconds} seconds")
        if memory_at_most() > self.most:
            raise GivenUp("the host sent more than an answer can be")

    def __enter__(self):
        self.handler = signal.signal(signal.SIGALRM, self.look)
        signal.setitimer(signal.ITIMER_REAL, TICK, TICK)

    def __exit__(self, kind, *_):
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, self.handler)
        if kind is GivenUp:
            end_children()


def answers(output, token):
    """Returns the values of an answer by their words; nothing when the end is missing."""
    lines = [line[len(token) + 1 :] for line in output.splitlines() if line.startswith(token + " ")]
    if not lines or lines[-1] != "end":
        return {}
    return dict(line.partition(" ")[::2] for line in lines[:-1])


def row(said):
    """Returns the answer of the host as files."""
    try:
        files = {word: base64.b64decode(said.get(word, ""), validate=True) for word in ("report", "errors")}
    except ValueError as error:
        raise NoAnswer("the answer is malformed: no base64") from error
    if "reason" in said:
        return {**files, **rows.without_answer(said["reason"] or "the host gave no reason"), "errors": files["errors"]}
    if not re.fullmatch("[0-9]{1,3}", said.get("status", "")) or int(said["status"]) > 255:
        raise NoAnswer("the answer is malformed: no status")
    return {**files, "status": said["status"].encode()}


def would_run(machine, architectures, wanted):
    """Says, for check mode, what would run."""
    if machine not in architectures:
        return f"nothing would run: no archive for architecture {machine}"
    command = shlex.join(["kvxprereqcheck", "-f", "KVXprereqs.xml", *program_words(wanted)])
    place, limit = wanted["prereqcheck_run_directory"], wanted["prereqcheck_time_limit"]
    return f"{command} would run in a new directory in {place}, for at most {limit} seconds"


class ActionModule(ActionBase):
    """Writes the row of the host. A host whose check failed does not fail here."""

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        host = task_vars["inventory_hostname"]
        try:
            files = self.check(task_vars)
        except WrongVariables as error:
            files = rows.without_answer(f"not asked: {error}")
        except NoAnswer as error:
            files = rows.without_answer(str(error), error.errors)
        rows.write(host, files)
        return {**result, "changed": False, "msg": files.get("reason", b"answered").decode("utf-8", "replace")}

    def check(self, task_vars):
        """Returns the files of the row."""
        wanted = read_for_host(task_vars, load_options(self._loader), self._templar)
        with open(os.path.join(rows.run_directory(), "architectures"), encoding="ascii") as file:
            architectures = file.read()
        if self._task.check_mode:
            said = self.ask('printf "%s machine %s\\n%s end\\n" "$1" "$(uname -m)" "$1"\n', [], b"", PATIENCE)
            return rows.without_answer(would_run(said.get("machine", ""), architectures.split(), wanted))
        limit = wanted["prereqcheck_time_limit"]
        words = [architectures, wanted["prereqcheck_run_directory"], str(limit), wanted["prereqcheck_language"] or ""]
        with open(os.path.join(ROLE, "files", "run.sh"), encoding="utf-8") as file:
            script = file.read()
        with open(os.path.join(rows.run_directory(), "parcel"), "rb") as file:
            parcel = file.read()
        return row(self.ask(script, words + program_words(wanted), parcel, limit + PATIENCE))

    def ask(self, script, words, parcel, seconds):
        """Runs the script on the host and returns the values of its answer by their words."""
        token = secrets.token_hex(16)
        script = f"set -- {shlex.join([token, *words])}\n{script}".encode("utf-8", "surrogateescape")
        try:
            with Limits(seconds):
                result = self.execute(COMMAND.format(length=len(script)), script + parcel)
        except GivenUp as error:
            raise NoAnswer(str(error)) from error
        except AnsibleConnectionFailure as error:
            if token in str(error):
                raise NoAnswer("the link was cut while the check ran") from error
            raise NoAnswer(f"unreachable: {last_line(error)}") from error
        except AnsibleError as error:
            raise NoAnswer(f"no answer: {last_line(error)}") from error
        said = answers(result["stdout"], token)
        if not said:
            errors = "".join(line for line in result["stderr"].splitlines(True) if token not in line)
            if token in result["stderr"]:
                raise NoAnswer(f"the check was ended on the host, with status {result['rc']}", errors)
            fault = last_line(errors) or last_line(result["stdout"]) or f"the shell ended with status {result['rc']}"
            raise NoAnswer(f"no answer: {fault}", errors)
        return said

    def execute(self, command, data):
        """Reads output as Ansible does, but gives up when it is longer than an answer can be."""
        connection_executes = self._connection.exec_command

        def bounded(*args, **kwargs):
            status, out, errors = connection_executes(*args, **kwargs)
            if len(out) + len(errors) > LONGEST_ANSWER:
                raise GivenUp("the host sent more than an answer can be")
            return status, out, errors

        self._connection.exec_command = bounded
        return self._low_level_execute_command(command, in_data=data, sudoable=not self._task.check_mode)

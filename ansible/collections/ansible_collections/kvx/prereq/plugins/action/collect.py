"""Judges all hosts by kvxprereqreport, writes the results and shows the table, once for all hosts."""

import json
import os
import subprocess

from ansible import constants
from ansible.plugins.action import ActionBase
from ansible.utils.display import Display

from ansible_collections.kvx.prereq.plugins.plugin_utils import output, rows

REPORTS = {"html": "report.html", "json": "report.json", "junit": "report.xml"}


class ProgramFailed(Exception):
    """kvxprereqreport failed; the text is its message."""


def add_missing_rows(hosts):
    """Makes sure that every host of the play has a row."""
    for host in hosts:
        if not rows.is_there(host):
            rows.write(host, rows.without_answer("not asked: see what the play said about this host"))


def run_program(program, *options):
    """Runs kvxprereqreport on all rows. Returns its output and its notes, which are about waivers."""
    command = [program, *options, rows.hosts_directory()]
    directory = rows.earlier_directory()
    done = subprocess.run(command, cwd=directory, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    notes = done.stderr.decode("utf-8", "replace").strip()
    if done.returncode not in (0, 1, 2):
        raise ProgramFailed(f"{program}: {notes or f'status {done.returncode}'}")
    return done.stdout.decode("utf-8", "replace"), notes


def make_table(program, owners):
    """Makes the table. Returns it with the notes."""
    table, notes = run_program(program, *owners["waivers"], *owners["compare"])
    if not table:
        raise ProgramFailed(f"{program}: {notes}")
    return table, notes


def make_reports(program, owners, expected):
    """Makes the reports. Returns their directory. Other notes than those of the table mean a failure."""
    directory = os.path.join(rows.run_directory(), "reports")
    os.makedirs(directory, exist_ok=True)
    for report, name in REPORTS.items():
        compare = [] if report == "junit" else owners["compare"] # it has no form for changes
        output_option = f"--output={os.path.join(directory, name)}"
        _, notes = run_program(program, f"--format={report}", output_option, *owners["waivers"], *compare)
        if notes != expected:
            raise ProgramFailed(f"{program}: {notes}")
    return directory


def results(path, hosts):
    """Returns the result of each host. It holds no text that a host wrote."""
    with open(path, encoding="utf-8") as file:
        judged = {row["host"]: row for row in json.load(file)["hosts"]}
    found = {host: judged[rows.shown_name(host)] for host in hosts}
    return {host: {"result": row["result"], "status": row["status"]} for host, row in found.items()}


def summary(verdicts):
    """Returns the hosts by result."""
    found = {"passed": [], "warning": [], "failed": [], "unknown": []}
    for host, verdict in verdicts.items():
        found[verdict["result"]].append(host)
    return found


def preview(hosts):
    """Returns what check mode found out: a line for each host."""
    lines = []
    for host in hosts:
        with open(os.path.join(rows.hosts_directory(), rows.directory_name(host), "reason"), encoding="utf-8") as file:
            lines.append(f"{host}: {file.read()}")
    return "\n".join(lines) + "\n"


def show(table, notes=""):
    """Shows the table; on standard error when Ansible writes JSON, because programs read standard output then."""
    for note in notes.splitlines():
        Display().warning(note)
    Display().display(table, stderr="json" in constants.DEFAULT_STDOUT_CALLBACK)  # pylint: disable=no-member


class ActionModule(ActionBase):
    """Collects the rows of all hosts. Sets a fact and statistics for the next tasks of a playbook."""

    BYPASS_HOST_LOOP = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        hosts = task_vars["ansible_play_hosts_all"]
        settings = rows.read_settings()
        if not settings:
            return {**result, "failed": True, "msg": "nothing was checked: the tasks 'check' of the role come first"}
        add_missing_rows(hosts)
        if self._task.check_mode:
            show(preview(hosts))
            return {**result, "changed": False}
        try:
            return {**result, **self.collect(hosts, settings)}
        except (OSError, ProgramFailed, output.Refused) as error:
            return {**result, "failed": True, "msg": str(error)}

    def collect(self, hosts, settings):
        """Writes the results and shows the table."""
        table, notes = make_table(settings["program"], settings["owners"])
        reports = make_reports(settings["program"], settings["owners"], notes)
        verdicts = results(os.path.join(reports, REPORTS["json"]), hosts)
        show(table, notes)
        path = settings["output"]
        output.replace(path, settings["locked"][path], rows.hosts_directory(), reports)
        return {
            "changed": True,
            "table": table.splitlines(),
            "hosts": verdicts,
            "page": os.path.join(path, REPORTS["html"]),
            "ansible_stats": {"data": {"prereqcheck": summary(verdicts)}, "aggregate": True, "per_host": False},
        }

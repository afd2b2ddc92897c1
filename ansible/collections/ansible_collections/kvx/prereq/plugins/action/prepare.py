"""Packs the programs and locks the directory of the results, once for all hosts. Refuses values that cannot work."""

import json
import os
import shutil
import subprocess
import tarfile
import zlib

from ansible.plugins.action import ActionBase

from ansible_collections.kvx.prereq.plugins.plugin_utils import output, parcel, rows
from ansible_collections.kvx.prereq.plugins.plugin_utils.variables import (
    COLLECTION,
    WrongVariables,
    load_options,
    read_on_controller,
)


REFUSED = (
    EOFError,
    OSError,
    subprocess.SubprocessError,
    tarfile.TarError,
    zlib.error,
    WrongVariables,
    output.Refused,
)


def read_prerequisites(path):
    """Returns the bytes of the prerequisites file."""
    if not path or os.path.isdir(path):
        raise WrongVariables("no prerequisites file; name the product's, as in -e prerequisites=KVXprereqs.xml")
    with open(path, "rb") as file:
        return file.read()


def default_archives():
    """Returns the directory of the archives, and that of the installed program, which serves as the archive for this
    machine. The collection is in PREFIX/share/ansible/collections or in a checkout; else in the packages' prefix."""
    above = os.path.abspath(os.path.join(COLLECTION, *[os.pardir] * 5))
    if os.path.exists(os.path.join(above, "scripts", "make-packages")):
        return os.path.join(above, "build", "packages"), ""
    prefix = os.path.dirname(above) if os.path.basename(above) == "share" else "/usr"
    return os.path.join(prefix, "share", "kvxprereq", "archives"), prefix


def find_archives(directory):
    """Returns the path of the archive for each architecture."""
    directory, installed = (directory, "") if directory else default_archives()
    archives = parcel.archives_in(directory)
    if installed and os.path.exists(os.path.join(installed, parcel.PROGRAM)):
        archives.setdefault(os.uname().machine, installed)
    if not archives:
        names = "kvxprereq-VERSION-linux-ARCHITECTURE.tar.gz"
        raise WrongVariables(f"{directory} holds no {names}; scripts/make-packages makes them")
    return archives


def find_report_program(wanted, archives, directory):
    """Returns the path of kvxprereqreport; unpacks it if none is named. Tries it before any host is asked."""
    machine = os.uname().machine
    if wanted["prereqcheck_report_program"]:
        program = os.path.abspath(wanted["prereqcheck_report_program"])
    elif machine in archives:
        program = parcel.unpack_report_program(archives[machine], directory)
    else:
        program = ""
    if not program:
        raise WrongVariables(
            f"there is no kvxprereqreport for this machine ({machine}); name one in prereqcheck_report_program"
        )
    subprocess.run([program, "--help"], stdin=subprocess.DEVNULL, capture_output=True, check=True)
    return program


def find_owners_files(wanted, program):
    """The program's options for the files that the owner of the hosts gives. The program reads them before any host is
    asked. The file of the earlier run is copied: this run may replace it."""
    options = {"waivers": [], "compare": []}
    if wanted["prereqcheck_waivers"]:
        options["waivers"] = ["--waivers=" + os.path.abspath(wanted["prereqcheck_waivers"])]
    os.makedirs(rows.earlier_directory())
    if wanted["prereqcheck_compare"]:
        shutil.copy(wanted["prereqcheck_compare"], rows.earlier_directory())
        options["compare"] = ["--compare=" + os.path.basename(wanted["prereqcheck_compare"])]
    command = [program, *options["waivers"], *options["compare"]]
    done = subprocess.run(
        command, cwd=rows.earlier_directory(), stdin=subprocess.DEVNULL, capture_output=True, check=False
    )
    if not done.stdout:
        raise WrongVariables(done.stderr.decode("utf-8", "replace").strip())
    return options


def save(name, content):
    """Writes the archive into the directory of the run."""
    with open(os.path.join(rows.run_directory(), name), "wb") as file:
        file.write(content)


class ActionModule(ActionBase):
    """Runs once for all hosts. With the strategy "free" Ansible refuses such an action."""

    BYPASS_HOST_LOOP = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        use = self._task._uuid  # pylint: disable=protected-access # it is the same for all batches of a play
        if not self.is_prepared(use):
            try:
                self.prepare(use, task_vars)
            except REFUSED as error:
                return {**result, "failed": True, "msg": str(error)}
        return {**result, "changed": False}

    def is_prepared(self, use):
        """Returns whether an earlier batch has done it."""
        settings = rows.read_settings()
        return bool(settings) and settings["use"] == use

    def prepare(self, use, task_vars):
        """Makes a new directory of the run."""
        wanted = read_on_controller(task_vars, load_options(self._loader), self._templar)
        directory = os.path.abspath(wanted["prereqcheck_output"])
        prerequisites = read_prerequisites(wanted["prereqcheck_prerequisites"])
        archives = find_archives(wanted["prereqcheck_archives"])
        locked = rows.read_settings().get("locked", {})
        shutil.rmtree(rows.run_directory(), ignore_errors=True)
        os.makedirs(rows.hosts_directory())
        program = find_report_program(wanted, archives, rows.run_directory())
        owners = find_owners_files(wanted, program)
        save("parcel", parcel.pack(archives, prerequisites))
        save("architectures", " ".join(archives).encode())
        if self._task.check_mode:
            output.check(directory)
        elif directory not in locked:
            locked[directory] = output.lock(directory, os.getppid())
        settings = {"use": use, "output": directory, "program": program, "owners": owners, "locked": locked}
        save("settings", json.dumps(settings).encode())

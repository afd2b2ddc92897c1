"""Packs what is sent to the hosts, and unpacks kvxprereqreport for this machine."""

import glob
import io
import os
import re
import tarfile

PROGRAM = "lib/kvxprereq/kvxprereqcheck"
SENT = ("bin/kvxprereqcheck", PROGRAM, "lib/kvxprereq/locale/")
REPORT_PROGRAM = "bin/kvxprereqreport"
HERE = (REPORT_PROGRAM, "lib/kvxprereq/locale/")


def archives_in(directory):
    """Path by architecture; of several versions the newest file."""
    found = sorted(glob.glob(os.path.join(glob.escape(directory), "kvxprereq-*-linux-*.tar.gz")), key=os.path.getmtime)
    return {re.search(r"-linux-(\w+)\.tar\.gz$", path)[1]: path for path in found}


def installed_files(prefix, names):
    """The installed files that begin with one of the names, as of an archive."""
    for found in names:
        top = os.path.join(prefix, found)
        inside = [os.path.join(directory, name) for directory, _, files in os.walk(top) for name in files]
        for path in [top] if os.path.isfile(top) else inside:
            with open(path, "rb") as file:
                yield os.path.relpath(path, prefix), os.stat(path).st_mode & 0o777, file.read()


def files_of(path, names):
    """The archive's files that begin with one of the names: name without the top directory, mode, content. A directory is
    where the program is installed."""
    if os.path.isdir(path):
        yield from installed_files(path, names)
        return
    with tarfile.open(path) as archive:
        for member in archive:
            name = member.name.partition("/")[2]
            if member.isfile() and name.startswith(names):
                yield name, member.mode, archive.extractfile(member).read()


def pack(archives, prerequisites):
    """A compressed archive with a directory for each architecture, and the prerequisites file. Many catalogs are equal:
    all but the first of them are links. In their order neighbours compress well."""
    files = [("KVXprereqs.xml", 0o644, prerequisites)]
    for architecture, path in archives.items():
        files += ((f"{architecture}/{name}", mode, content) for name, mode, content in sorted(files_of(path, SENT)))
    packed = io.BytesIO()
    first = {}
    with tarfile.open(fileobj=packed, mode="w:gz", compresslevel=9) as archive:
        for name, mode, content in files:
            entry = tarfile.TarInfo(name)
            entry.mode, same = mode, first.setdefault(content, name)
            if same == name:
                entry.size = len(content)
            else:
                entry.type, entry.linkname = tarfile.LNKTYPE, same
            archive.addfile(entry, io.BytesIO(content))
    return packed.getvalue()


def unpack_report_program(path, directory):
    """Returns the program's path below the directory; empty when the archive has none."""
    for name, mode, content in files_of(path, HERE):
        target = os.path.join(directory, name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "wb") as file:
            file.write(content)
        os.chmod(target, mode)
    program = os.path.join(directory, REPORT_PROGRAM)
    return program if os.path.exists(program) else ""

"""Packs what is sent to the hosts.

pack.py ARCHIVES PREREQUISITES REPORT-PROGRAM [PARCELS]: ARCHIVES is the directory of kvxprereq-VERSION-linux-ARCHITECTURE.tar.gz.
PARCELS/ARCHITECTURE becomes a compressed archive in base64 of the program, its texts and the prerequisites file, and
PARCELS/bin/kvxprereqreport, with PARCELS/lib, the program for this machine unless REPORT-PROGRAM names one. Prints the
architectures. Without PARCELS nothing is written.
"""

import base64
import glob
import io
import os
import re
import shutil
import sys
import tarfile
import zlib

SENT = ("bin/kvxprereqcheck", "lib/kvxprereq/checker/")
HERE = ("bin/kvxprereqreport", "lib/kvxprereq/checker/locale/")


def archives_in(directory):
    """Path by architecture; of several versions the newest file."""
    found = sorted(glob.glob(os.path.join(glob.escape(directory), "kvxprereq-*-linux-*.tar.gz")), key=os.path.getmtime)
    return {re.search(r"-linux-(\w+)\.tar\.gz$", path)[1]: path for path in found}


def files_of(path, names):
    """The archive's files and links that begin with one of the names: name without the top directory, mode, content. The
    content of a link is None, its mode the name that it leads to."""
    with tarfile.open(path) as archive:
        for member in archive:
            name = member.name.partition("/")[2]
            if name.startswith(names) and member.issym():
                yield name, member.linkname, None
            elif name.startswith(names) and member.isfile():
                yield name, member.mode, archive.extractfile(member).read()


def parcel(path, prerequisites):
    """In the order of their names neighbours compress well."""
    packed = io.BytesIO()
    with tarfile.open(fileobj=packed, mode="w:gz", compresslevel=9) as archive:
        for name, mode, content in [*sorted(files_of(path, SENT)), ("KVXprereqs.xml", 0o644, prerequisites)]:
            entry = tarfile.TarInfo(name)
            if content is None:
                entry.type, entry.linkname = tarfile.SYMTYPE, mode
            else:
                entry.mode, entry.size = mode, len(content)
            archive.addfile(entry, io.BytesIO(content or b""))
    return base64.b64encode(packed.getvalue())


def write(path, mode, content):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    if content is None:
        os.symlink(mode, path)
        return
    with open(path, "wb") as file:
        file.write(content)
    os.chmod(path, mode)


def main(directory, prerequisites, report_program, parcels=None):
    if os.path.isdir(prerequisites):
        sys.exit("no prerequisites file; name the product's, as in -e prerequisites=KVXprereqs.xml")
    with open(prerequisites, "rb") as file:
        prerequisites = file.read()
    archives = archives_in(directory)
    if not archives:
        sys.exit(f"{directory} holds no kvxprereq-VERSION-linux-ARCHITECTURE.tar.gz; scripts/make-packages makes them.")
    machine = os.uname().machine
    here = [] if report_program else list(files_of(archives[machine], HERE)) if machine in archives else []
    if not report_program and not any(name == HERE[0] for name, _, _ in here):
        sys.exit(f"{directory} holds no kvxprereqreport for this machine ({machine}); name one in prereqcheck_report_program.")
    if parcels:
        shutil.rmtree(parcels, ignore_errors=True)
        for name, mode, content in here:
            write(os.path.join(parcels, name), mode, content)
        for architecture, path in archives.items():
            write(os.path.join(parcels, architecture), 0o644, parcel(path, prerequisites))
    print(*archives, sep="\n")


try:
    main(*sys.argv[1:])
except (EOFError, OSError, tarfile.TarError, zlib.error) as error:
    sys.exit(str(error))

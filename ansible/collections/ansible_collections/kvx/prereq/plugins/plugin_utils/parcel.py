"""Packs the programs for the hosts, and unpacks kvxprereqreport for this machine."""

import glob
import io
import os
import re
import tarfile

PROGRAM = "lib/kvxprereq/checker/kvxprereqcheck"
SENT = ("bin/kvxprereqcheck", "lib/kvxprereq/checker/")
REPORT_PROGRAM = "bin/kvxprereqreport"
HERE = (REPORT_PROGRAM, "lib/kvxprereq/checker/locale/")


def archives_in(directory):
    """Returns the path for each architecture; of several versions that of the newest file."""
    found = sorted(glob.glob(os.path.join(glob.escape(directory), "kvxprereq-*-linux-*.tar.gz")), key=os.path.getmtime)
    return {re.search(r"-linux-(\w+)\.tar\.gz$", path)[1]: path for path in found}


def installed_files(prefix, names):
    """Returns the installed files that begin with one of the names, in the form of an archive's files."""
    for found in names:
        top = os.path.join(prefix, found)
        inside = [os.path.join(place, name) for place, places, files in os.walk(top) for name in places + files]
        for path in [top] if os.path.isfile(top) else inside:
            name = os.path.relpath(path, prefix)
            if os.path.islink(path):
                yield name, os.readlink(path), None
            elif os.path.isfile(path):
                with open(path, "rb") as file:
                    yield name, os.stat(path).st_mode & 0o777, file.read()


def files_of(path, names):
    """Returns the files and links of an archive that begin with one of the names: name without the top directory, mode,
    content. The content of a link is None, and its mode is its target. A directory as the path is an installation."""
    if os.path.isdir(path):
        yield from installed_files(path, names)
        return
    with tarfile.open(path) as archive:
        for member in archive:
            name = member.name.partition("/")[2]
            if name.startswith(names) and member.issym():
                yield name, member.linkname, None
            elif name.startswith(names) and member.isfile():
                yield name, member.mode, archive.extractfile(member).read()


def pack(archives, prerequisites):
    """Returns a compressed archive with a directory for each architecture, and the prerequisites file. A file that is
    equal for several architectures is stored once, and as links. In the order of their names files compress well."""
    files = [("KVXprereqs.xml", 0o644, prerequisites)]
    for architecture, path in archives.items():
        files += ((f"{architecture}/{name}", mode, content) for name, mode, content in sorted(files_of(path, SENT)))
    packed = io.BytesIO()
    first = {}
    with tarfile.open(fileobj=packed, mode="w:gz", compresslevel=9) as archive:
        for name, mode, content in files:
            entry = tarfile.TarInfo(name)
            if content is None:
                entry.type, entry.linkname = tarfile.SYMTYPE, mode
            elif first.setdefault(content, name) != name:
                entry.type, entry.linkname = tarfile.LNKTYPE, first[content]
            else:
                entry.mode, entry.size = mode, len(content)
            archive.addfile(entry, io.BytesIO(content or b""))
    return packed.getvalue()


def unpack_report_program(path, directory):
    """Returns the path of the program below the directory; an empty one when the archive has none."""
    for name, mode, content in files_of(path, HERE):
        target = os.path.join(directory, name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        if content is None:
            os.symlink(mode, target)
            continue
        with open(target, "wb") as file:
            file.write(content)
        os.chmod(target, mode)
    program = os.path.join(directory, REPORT_PROGRAM)
    return program if os.path.exists(program) else ""

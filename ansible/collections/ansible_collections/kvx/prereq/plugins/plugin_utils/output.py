"""The directory of the results. It is ours and no link in it is followed, so no other user can redirect our files."""

import contextlib
import fcntl
import os
import pwd
import shutil
import stat
import subprocess
import sys

from ansible_collections.kvx.prereq.plugins.plugin_utils.rows import FILES

HOLDER = os.path.join(os.path.dirname(os.path.realpath(__file__)), "hold.py")
DIRECTORY = os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW | os.O_CLOEXEC


class Refused(Exception):
    """Says why the directory is not used."""


def make(path):
    """Makes the directory if it does not exist. Returns the directories that it made, the innermost first."""
    missing = []
    while not os.path.lexists(path):
        missing.append(path)
        path = os.path.dirname(path)
    for directory in reversed(missing):
        os.mkdir(directory, 0o700)
    return missing


def refuse_others(path, status):
    """Refuses a directory that somebody else owns or can write to."""
    user = os.geteuid()
    if status.st_uid != user:
        raise Refused(f"{path} belongs to another user, not to you")
    by_group = status.st_mode & stat.S_IWGRP and status.st_gid != pwd.getpwuid(user).pw_gid
    if by_group or status.st_mode & stat.S_IWOTH:
        raise Refused(f"{path} can be written to by other users; take their permission away, or name another directory")


def identity(status):
    """Returns what identifies the directory as long as it is locked."""
    return [status.st_dev, status.st_ino]


def refuse_planted(path):
    """Refuses a path through what another user put into a directory that everybody can write to, such as /tmp."""
    for walked in (path, os.path.realpath(path)):
        while walked != os.path.dirname(walked):
            above = os.path.dirname(walked)
            if os.path.lexists(walked) and os.stat(above).st_mode & stat.S_IWOTH:
                if os.lstat(walked).st_uid not in (0, os.geteuid()):
                    raise Refused(f"{walked} belongs to another user, not to you")
            walked = above


@contextlib.contextmanager
def opened(path):
    """Opens the directory and returns its descriptor."""
    refuse_planted(path)
    try:
        descriptor = os.open(path, DIRECTORY)
    except OSError as error:
        if os.path.islink(path):
            raise Refused(f"{path} is a link; name the directory itself") from error
        raise
    try:
        refuse_others(path, os.fstat(descriptor))
        yield descriptor
    finally:
        os.close(descriptor)


def check(path):
    """Refuses a directory that cannot be used. Makes nothing."""
    refuse_planted(path)
    if os.path.lexists(path):
        with opened(path):
            pass


def lock(path, run):
    """Makes the directory and locks it until the process of the run ends. Returns what identifies it."""
    refuse_planted(path)
    made = make(path)
    with opened(path) as descriptor:
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError as error:
            raise Refused(f"another run uses {path}; name another directory, or wait for its end") from error
        os.set_inheritable(descriptor, True)
        subprocess.Popen(  # pylint: disable=consider-using-with # it outlives this process
            [sys.executable, "-I", HOLDER, str(run), *made],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            pass_fds=[descriptor],
            start_new_session=True,
            cwd="/",
        )
        return identity(os.fstat(descriptor))


def write(directory, name, source):
    """Copies a file into the directory, as a new one."""
    with contextlib.suppress(FileNotFoundError):
        os.unlink(name, dir_fd=directory)
    flags = os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW
    descriptor = os.open(name, flags, mode=0o644, dir_fd=directory)
    with os.fdopen(descriptor, "wb") as target, open(source, "rb") as file:
        shutil.copyfileobj(file, target)


@contextlib.contextmanager
def subdirectory(directory, name):
    """Opens a directory in another one; makes it if it does not exist."""
    with contextlib.suppress(FileExistsError):
        os.mkdir(name, 0o755, dir_fd=directory)
    descriptor = os.open(name, DIRECTORY, dir_fd=directory)
    try:
        refuse_others(f"{name} among the results", os.fstat(descriptor))
        yield descriptor
    finally:
        os.close(descriptor)


def empty(hosts):
    """Removes the rows of an earlier run and nothing else."""
    for name in os.listdir(hosts):
        if not stat.S_ISDIR(os.stat(name, dir_fd=hosts, follow_symlinks=False).st_mode):
            continue
        with subdirectory(hosts, name) as host:
            for file in FILES:
                with contextlib.suppress(FileNotFoundError):
                    os.unlink(file, dir_fd=host)
        with contextlib.suppress(OSError):
            os.rmdir(name, dir_fd=hosts)


def replace(path, locked, rows, reports):
    """Replaces the results of an earlier run by the rows and the reports, which are directories of this run."""
    with opened(path) as output:
        if identity(os.fstat(output)) != locked:
            raise Refused(f"{path} is another directory than at the start of the run")
        with subdirectory(output, "hosts") as hosts:
            empty(hosts)
            for name in os.listdir(rows):
                with subdirectory(hosts, name) as host:
                    for file in os.listdir(os.path.join(rows, name)):
                        write(host, file, os.path.join(rows, name, file))
        for name in os.listdir(reports):
            write(output, name, os.path.join(reports, name))

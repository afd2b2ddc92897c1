"""Prints the contents of a release, and what it was made from, as SPDX 2.3 in JSON.

sbom.py NAME VERSION COMMIT PROVENANCE PACKAGES TREE...: PACKAGES is the directory of the packages. A TREE is the
unpacked archive of an architecture, in a directory named ARCHITECTURE/archive. Runs in the base system in which the
packages were built, and lists packages of that system. All times are SOURCE_DATE_EPOCH.
"""

import datetime
import hashlib
import json
import os
import re
import subprocess
import sys
import uuid

HERE = os.path.dirname(os.path.abspath(__file__))
UNKNOWN = "NOASSERTION"
COMPILERS = {"x86_64": "", "s390x": "s390x-linux-gnu-", "ppc64le": "powerpc64le-linux-gnu-"}
# The files that the linker takes code from, and their licences. Only companions contain parts of libstdc++.
LINKED = {
    "libstdc++.a": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "libgcc.a": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "Scrt1.o": "LGPL-2.1-or-later",
}
# The Debian packages of headers whose code is in a program, and their licences.
HEADERS = {"kvxprereqreport": {"rapidjson-dev": "MIT"}}
TOOLS = ("binutils", "cmake", "cmark-gfm", "cpio", "dpkg-dev", "libc-bin", "make", "mandoc", "rpm", "xz-utils")


def read(name):
    with open(os.path.join(HERE, name), encoding="utf-8") as file:
        return file.read()


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, universal_newlines=True).stdout.strip()


def identifier(*words):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]+", "-", "-".join(words))


def checksums(path, *algorithms):
    with open(path, "rb") as file:
        content = file.read()
    return [{"algorithm": name, "checksumValue": hashlib.new(name.lower(), content).hexdigest()} for name in algorithms]


class Document:
    """The parts of the document. A part that is added again is not repeated; its identifier is returned."""

    def __init__(self):
        self.packages, self.files, self.relationships = {}, {}, []

    def relate(self, one, kind, other):
        entry = {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
        if entry not in self.relationships:
            self.relationships.append(entry)

    def add_package(self, name, version, **more):
        own = identifier("Package", name, version)
        self.packages[own] = {
            "SPDXID": own,
            "name": name,
            "versionInfo": version,
            "downloadLocation": UNKNOWN,
            "filesAnalyzed": False,
            "licenseConcluded": UNKNOWN,
            "licenseDeclared": UNKNOWN,
            "copyrightText": UNKNOWN,
            **more,
        }
        return own

    def add_debian_package(self, name, **more):
        version, architecture = output_of("dpkg-query", "-W", "-f", "${Version} ${Architecture}", name).split()
        found = re.search(r"^SHA256: (\w+)", output_of("apt-cache", "show", f"{name}={version}"), re.M)
        name = name.partition(":")[0]
        return self.add_package(
            name,
            version,
            checksums=[{"algorithm": "SHA256", "checksumValue": found[1]}],
            supplier="Organization: Debian",
            externalRefs=[
                {
                    "referenceCategory": "PACKAGE-MANAGER",
                    "referenceType": "purl",
                    "referenceLocator": f"pkg:deb/debian/{name.replace('+', '%2B')}@{version.replace('+', '%2B')}"
                    f"?arch={architecture}&distro=bullseye",
                }
            ],
            **more,
        )

    def add_file(self, path, name):
        with open(path, "rb") as file:
            is_program = file.read(4) == b"\x7fELF"
        own = identifier("File", name)
        self.files[own] = {
            "SPDXID": own,
            "fileName": f"./{name}",
            "checksums": checksums(path, "SHA1", "SHA256"),
            "fileTypes": ["BINARY" if is_program else "OTHER"],
            "licenseConcluded": UNKNOWN,
            "copyrightText": UNKNOWN,
        }
        return own, is_program


def owner_of(compiler, library):
    """Returns the Debian package with a library of the compiler."""
    path = os.path.realpath(output_of(compiler, f"-print-file-name={library}"))
    return output_of("dpkg", "-S", path).partition(": ")[0]


def add_linked(document, architecture, program, is_companion, libc):
    compiler = COMPILERS[architecture] + "g++"
    for library, licence in LINKED.items():
        if is_companion or library != "libstdc++.a":
            owner = document.add_debian_package(owner_of(compiler, library), licenseDeclared=licence)
            document.relate(program, "STATIC_LINK", owner)
    document.relate(program, "DYNAMIC_LINK", libc)


def add_tree(document, tree, packages, libc):
    """Returns the files of an architecture; all its packages contain them."""
    architecture = os.path.basename(os.path.dirname(tree))
    for directory, subdirectories, names in os.walk(tree):
        subdirectories.sort()
        for name in sorted(names):
            path = os.path.join(directory, name)
            if os.path.islink(path):
                continue
            own, is_program = document.add_file(path, os.path.join(architecture, os.path.relpath(path, tree)))
            for package in packages:
                document.relate(package, "CONTAINS", own)
            if is_program:
                add_linked(document, architecture, own, name != "kvxprereqcheck", libc)
                for headers, licence in HEADERS.get(name, {}).items():
                    document.relate(
                        own, "STATIC_LINK", document.add_debian_package(headers, licenseDeclared=licence)
                    )


def add_release(document, name, version, commit, directory, trees):
    licence, _, text = read("licence").partition("\n")
    supplier = "Organization: " + read("maintainer").partition(" <")[0]
    source = document.add_package(
        f"{name} source", commit, supplier=supplier, licenseDeclared=licence, comment="a Git commit"
    )
    libc = document.add_package(
        "glibc", "2.17", supplier=UNKNOWN, comment="The C library of the host, of this level or a later one."
    )
    for file in sorted(os.listdir(directory)):
        own = document.add_package(
            file,
            version,
            packageFileName=file,
            checksums=checksums(os.path.join(directory, file), "SHA256"),
            supplier=supplier,
            licenseDeclared=licence,
            primaryPackagePurpose="ARCHIVE" if file.endswith(".gz") else "INSTALL",
        )
        document.relate("SPDXRef-DOCUMENT", "DESCRIBES", own)
        document.relate(own, "GENERATED_FROM", source)
    for tree in trees:
        architecture = os.path.basename(os.path.dirname(tree))
        names = {"x86_64": "x86_64|amd64", "ppc64le": "ppc64le|ppc64el"}.get(architecture, architecture)
        packages = [own for own, one in document.packages.items() if re.search(names, one.get("packageFileName", ""))]
        add_tree(document, tree, packages, libc)
        compiler = os.path.realpath(f"/usr/bin/{COMPILERS[architecture]}g++")
        tool = document.add_debian_package(output_of("dpkg", "-S", compiler).partition(": ")[0])
        document.relate(tool, "BUILD_TOOL_OF", source)
    for tool in TOOLS:
        document.relate(document.add_debian_package(tool), "BUILD_TOOL_OF", source)
    return {"licenseId": licence, "extractedText": text.strip()}


def main(*arguments):
    name, version, commit, provenance, directory, *trees = arguments
    document = Document()
    licence = add_release(document, name, version, commit, directory, trees)
    created = datetime.datetime.utcfromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]))
    written = {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{name}-{version}",
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, f'{name} {version} {commit}')}",
        "creationInfo": {
            "created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": ["Organization: " + read("maintainer").partition(" <")[0], "Tool: sbom.py"],
            "comment": provenance,
        },
        "packages": list(document.packages.values()),
        "files": list(document.files.values()),
        "relationships": document.relationships,
    }
    if licence["licenseId"].startswith("LicenseRef-"):
        written["hasExtractedLicensingInfos"] = [licence]
    print(json.dumps(written, indent=1))


main(*sys.argv[1:])

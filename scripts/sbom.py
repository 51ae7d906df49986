#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes a bill of materials (SPDX 2.3, JSON) of a release's files: sbom.py VERSION FOLDER"""
import datetime
import hashlib
import json
import os
import pathlib
import sys

# What goes into the packages beside our own sources.
PARTS = {
    "nlohmann-json": ("MIT", "headers, in jpgtool"),
    "libpng": ("libpng-2.0", "linked by jpgtool on Linux"),
}


def package(name, version, licence, comment=""):
    return {"SPDXID": f"SPDXRef-{name}", "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence,
            "licenseDeclared": licence, "copyrightText": "NOASSERTION",
            **({"comment": comment} if comment else {})}


def main():
    version, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    when = datetime.datetime.fromtimestamp(int(os.environ.get("SOURCE_DATE_EPOCH", "0")),
                                           datetime.timezone.utc)
    files = []
    for path in sorted(folder.iterdir()):
        if path.is_file() and path.name != "SHA256SUMS" and not path.name.endswith(".spdx.json"):
            data = path.read_bytes()
            # SPDX wants SHA-1 beside what one would rely on.
            checksums = [{"algorithm": name, "checksumValue": hashlib.new(name.lower(), data).hexdigest()}
                         for name in ("SHA1", "SHA256")]
            files.append({"SPDXID": f"SPDXRef-File-{len(files)}", "fileName": f"./{path.name}",
                          "checksums": checksums,
                          "licenseConcluded": "MIT", "copyrightText": "2026 the jpg authors"})
    packages = [package("jpg", version, "MIT")]
    packages += [package(name, "NOASSERTION", *told) for name, told in PARTS.items()]
    relations = [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                  "relatedSpdxElement": "SPDXRef-jpg"}]
    relations += [{"spdxElementId": "SPDXRef-jpg", "relationshipType": "DEPENDS_ON",
                   "relatedSpdxElement": f"SPDXRef-{name}"} for name in PARTS]
    relations += [{"spdxElementId": "SPDXRef-jpg", "relationshipType": "GENERATES",
                   "relatedSpdxElement": file["SPDXID"]} for file in files]
    json.dump({"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
               "name": f"jpg-{version}",
               "documentNamespace": f"urn:jpg:{version}:{hashlib.sha256(repr(files).encode()).hexdigest()}",
               "creationInfo": {"created": when.strftime("%Y-%m-%dT%H:%M:%SZ"),
                                "creators": ["Organization: the jpg authors", "Tool: sbom.py"]},
               "packages": packages, "files": files, "relationships": relations},
              sys.stdout, indent=2)
    print()


if __name__ == "__main__":
    main()

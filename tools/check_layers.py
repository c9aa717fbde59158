#!/usr/bin/env python3
"""Checks the module order of the #include graph of src/ and tools/.

Every folder under src/ and tools/ has a rank in LAYERS below (lowest first). A file may
include files of its own folder and of folders of a lower rank, never of a higher one.
Folders of the same rank (written together in one entry) may include one another only
where no include cycle runs between them. Independently of the ranks, the check also fails
on any include cycle between two folders.

Usage: check_layers.py [ROOT]     (ROOT defaults to the source tree holding this script)
       check_layers.py --self-test (checks that a made-up tree's faults are all reported)
Exit status 0 when the graph keeps the order, 1 with one line per offending include
("file:line: ...") otherwise.
"""

import os
import re
import sys

# The module order, lowest first. One entry per rank; folders in one entry share a rank.
LAYERS = [
    # foundation
    ["src/Cmn"],
    ["src/L10N"],           # localised failures and the message table: raise Cmn exceptions
    ["src/Sys"],            # portable OS layer: throws L10N failures, reads texts
    ["src/Sys/Posix"],      # platform classes that fill the Sys hooks
    ["src/I18N"],           # language and paths: reads the Sys folders
    # time
    ["src/Time"],
    # audio files
    ["src/FF"],
    ["src/FF/Audio"],
    ["src/FF/Audio/PlugIns"],
    # audio processing, by role
    ["src/FF/Audio/Processing/Chain"],
    ["src/FF/Audio/Processing/Stages"],
    ["src/FF/Audio/Processing/Read"],
    ["src/FF/Audio/Processing/Overview"],   # reads files and mixes through Read and Stages
    ["src/FF/Audio/Processing/Write"],      # the file writers keep an overview as they write
    ["src/FF/Audio/Processing/Jobs"],
    # browser, interchange (not built yet)
    ["src/BDM"],
    ["src/BDM/Adapters/FS", "src/BDM/Adapters/Neo"],
    ["src/Iop"],
    ["src/FF/OMF"],
    # the tool
    ["tools/mirafile"],
]

# Includes against the order that are known and waiting for a fix in the code, as
# (including file, included file). Keep this list short; each entry says why it is here.
KNOWN_EXCEPTIONS: set = set()

# Folders searched for a bare include name, in the order the build searches them.
INCLUDE_DIRS = ["src", "src/Cmn", "src/Sys", "src/Sys/Posix", "src/L10N", "src/I18N"]
SCANNED = ["src", "tools"]
SOURCE_EXT = (".h", ".hpp", ".cpp", ".cc", ".inc")
INCLUDE_RE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def rank_table():
    ranks = {}
    for rank, folders in enumerate(LAYERS):
        for folder in folders:
            ranks[folder] = rank
    return ranks


def resolve(root, including_dir, name):
    """The file an include names, relative to root, or None if it is not ours."""
    for base in [including_dir] + INCLUDE_DIRS:
        candidate = os.path.normpath(os.path.join(base, name))
        if os.path.isfile(os.path.join(root, candidate)):
            return candidate
    return None


def scan(root):
    """Yields (file, line, included file) for every include of a file of ours."""
    for top in SCANNED:
        for dirpath, _, files in os.walk(os.path.join(root, top)):
            for fname in sorted(files):
                if not fname.endswith(SOURCE_EXT):
                    continue
                path = os.path.relpath(os.path.join(dirpath, fname), root)
                folder = os.path.dirname(path)
                with open(os.path.join(root, path), encoding="utf-8", errors="replace") as f:
                    for number, text in enumerate(f, 1):
                        m = INCLUDE_RE.match(text)
                        if not m:
                            continue
                        target = resolve(root, folder, m.group(1))
                        if target is not None:
                            yield path, number, target


def find_cycles(edges):
    """Strongly connected components of more than one folder in the folder graph."""
    index, low, on_stack, stack, result = {}, {}, set(), [], []
    counter = [0]

    def visit(v):
        index[v] = low[v] = counter[0]
        counter[0] += 1
        stack.append(v)
        on_stack.add(v)
        for w in sorted(edges.get(v, ())):
            if w not in index:
                visit(w)
                low[v] = min(low[v], low[w])
            elif w in on_stack:
                low[v] = min(low[v], index[w])
        if low[v] == index[v]:
            component = []
            while True:
                w = stack.pop()
                on_stack.discard(w)
                component.append(w)
                if w == v:
                    break
            if len(component) > 1:
                result.append(set(component))

    for v in sorted(edges):
        if v not in index:
            visit(v)
    return result


def check(root):
    ranks = rank_table()
    problems = []
    edges = {}
    sites = {}
    for path, line, target in scan(root):
        src_folder, dst_folder = os.path.dirname(path), os.path.dirname(target)
        if src_folder == dst_folder or (path, target) in KNOWN_EXCEPTIONS:
            continue
        for folder in (src_folder, dst_folder):
            if folder not in ranks:
                problems.append(f"{path}:{line}: folder {folder} has no place in the module "
                                f"order; add it to LAYERS in tools/check_layers.py")
                ranks[folder] = -1  # report each unknown folder once
        if ranks[src_folder] >= 0 and ranks[dst_folder] > ranks[src_folder]:
            problems.append(f"{path}:{line}: includes {target}: {src_folder} is below "
                            f"{dst_folder} in the module order")
        edges.setdefault(src_folder, set()).add(dst_folder)
        sites.setdefault((src_folder, dst_folder), []).append(f"{path}:{line}")
    # With every folder ranked, a cycle can only close through includes between folders of
    # one rank (the includes going up are reported above); name those.
    for component in find_cycles(edges):
        for a in sorted(component):
            for b in sorted(edges.get(a, ())):
                if b in component and ranks[a] == ranks[b]:
                    for site in sites[(a, b)]:
                        problems.append(f"{site}: includes from {a} into {b}, part of an "
                                        f"include cycle between {', '.join(sorted(component))}")
    return problems


def self_test():
    """Runs the check over a small made-up tree with one fault of each kind."""
    import tempfile
    files = {
        "src/Cmn/Cmn_A.h": "",
        "src/Sys/Sys_B.h": '#include "Cmn_A.h"\n',                     # down: fine
        "src/Cmn/Cmn_C.cpp": '#include "Cmn_A.h"\n#include "Sys_B.h"\n',  # up
        "src/BDM/Adapters/FS/F.h": '#include "BDM/Adapters/Neo/N.h"\n',   # one rank,
        "src/BDM/Adapters/Neo/N.h": '#include "BDM/Adapters/FS/F.h"\n',   # a cycle
        "src/Nowhere/N.cpp": '#include "Cmn_A.h"\n',                  # unranked folder
    }
    expected = [
        "src/Cmn/Cmn_C.cpp:2: includes src/Sys/Sys_B.h",
        "src/BDM/Adapters/FS/F.h:1: includes from src/BDM/Adapters/FS into",
        "src/BDM/Adapters/Neo/N.h:1: includes from src/BDM/Adapters/Neo into",
        "src/Nowhere/N.cpp:1: folder src/Nowhere has no place",
    ]
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            os.makedirs(os.path.join(root, os.path.dirname(name)), exist_ok=True)
            with open(os.path.join(root, name), "w", encoding="utf-8") as f:
                f.write(text)
        problems = check(root)
    missed = [e for e in expected if not any(p.startswith(e) for p in problems)]
    for e in missed:
        print(f"self test: no report starting with {e!r}")
    if len(problems) != len(expected):
        print(f"self test: {len(problems)} reports, {len(expected)} expected:", *problems, sep="\n  ")
    return 1 if missed or len(problems) != len(expected) else 0


def main(argv):
    if len(argv) > 1 and argv[1] == "--self-test":
        return self_test()
    root = argv[1] if len(argv) > 1 else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    problems = check(root)
    for p in problems:
        print(p)
    if problems:
        print(f"{len(problems)} include(s) against the module order", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

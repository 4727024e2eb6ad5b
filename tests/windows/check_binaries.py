#!/usr/bin/env python3
"""Reads what the cross-build made: the plug-in's exports, imports and resources, and the vector code of every binary.

usage: tests/windows/check_binaries.py BUILD_DIR
"""
import pathlib
import re
import subprocess
import sys

OBJDUMP = "x86_64-w64-mingw32-objdump"
# DLLs that every Windows has.
SYSTEM_DLLS = {"KERNEL32.DLL", "MSVCRT.DLL", "USER32.DLL", "GDI32.DLL", "ADVAPI32.DLL", "SHELL32.DLL", "COMCTL32.DLL", "COMDLG32.DLL",
               "OPENGL32.DLL", "WINMM.DLL", "OLE32.DLL", "PSAPI.DLL", "UXTHEME.DLL", "DWMAPI.DLL"}
# Moves that fault on an address that is no multiple of their 32 or 64 bytes. The stack is aligned to 16 bytes only.
ALIGNED_MOVE = re.compile(r"\s(vmovap[sd]|vmovdqa(?:32|64)?|vmovntdqa?|vmovntp[sd])\s+(?=.*\()(?=.*%[yz]mm)")


def dump(*arguments):
    return subprocess.run([OBJDUMP, *map(str, arguments)], capture_output=True, text=True, check=True).stdout


def check_plugin(plugin):
    headers = dump("-p", plugin)
    table = headers.split("[Ordinal/Name Pointer] Table", 1)[-1].split("\n\n", 1)[0]
    exports = re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+[0-9a-f]+\s+)?(\S+)$", table, re.M)
    if exports != ["xImportEntry"]:
        yield f"{plugin.name}: exports {exports} instead of xImportEntry alone"
    # A name in the resource directory: its length, then its UTF-16 text.
    if b"\x04\x00" + "IMPT".encode("utf-16-le") not in plugin.read_bytes():
        yield f"{plugin.name}: no IMPT resource, so hosts would not load it"


def check_imports(binary):
    for name in re.findall(r"DLL Name: (\S+)", dump("-p", binary)):
        if name.upper() not in SYSTEM_DLLS:
            yield f"{binary.name}: needs {name}, which is no part of Windows"


def check_vector_moves(binary):
    process = subprocess.Popen([OBJDUMP, "-d", "--no-show-raw-insn", str(binary)], stdout=subprocess.PIPE, text=True)
    wide = 0
    for line in process.stdout:
        wide += "%ymm" in line
        if ALIGNED_MOVE.search(line):
            yield f"{binary.name}: {line.strip()}"
    if process.wait() != 0:
        yield f"{binary.name}: cannot be disassembled"
    elif wide == 0 and binary.suffix == ".prm":
        yield f"{binary.name}: no wide vector code at all, so this check has seen nothing"


def main():
    build = pathlib.Path(sys.argv[1])
    plugin = build / "qorix-importer.prm"
    binaries = [plugin, *sorted(build.glob("*.exe")), *sorted(build.glob("tests/*.exe"))]
    problems = [*check_plugin(plugin)]
    for binary in binaries:
        problems += check_imports(binary)
        problems += check_vector_moves(binary)
    for problem in problems[:50]:
        print(problem)
    print(f"binaries: {len(binaries)} looked at, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

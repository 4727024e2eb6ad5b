#!/usr/bin/env python3
"""Checks what the compiler does not: formatting, include arrows between folders, headers that stand alone, lock annotations, file sizes.

usage: tools/lint.py BUILD_DIR [--tidy]      (--tidy adds clang-tidy over all sources, which takes minutes)
"""
import pathlib
import re
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

ROOT = pathlib.Path(__file__).resolve().parent.parent
WINDOWS_COMPILER = "x86_64-w64-mingw32-g++-posix"
SOURCE_FOLDERS = ["src", "standin", "samples", "tools", "tests", "bench", "fuzz"]

# Which folders a folder may include. Includes point down only.
MAY_INCLUDE = {
    "base": {"base"},
    "host": {"host"},
    "platform": {"platform", "base"},
    "media": {"media", "platform", "base"},
    "rawzip": {"rawzip", "media", "platform", "base"},
    "qorix": {"qorix", "media", "platform", "base"},
    "develop": {"develop", "media", "platform", "base"},
    "pipeline": {"pipeline", "develop", "qorix", "rawzip", "media", "platform", "base"},
    "ui": {"ui", "pipeline", "develop", "platform", "base"},
    "importer": {"importer", "ui", "pipeline", "develop", "qorix", "rawzip", "media", "platform", "base", "host"},
    "standin": {"standin", "host"},
    "samples": {"samples"},
    "tools/common": {"tools"},
    "tools/qorix-host": {"tools", "standin", "host"},
    "tools/qorix-sample": {"tools", "samples"},
    "tools/qorix-check": {"tools", "pipeline", "qorix", "rawzip", "media", "platform", "base"},
}
# Parts of pipeline/ that the dialog may see: the options, a library of their own.
UI_PIPELINE_HEADERS = {"pipeline/develop_options.h"}


def sources(*suffixes):
    for folder in SOURCE_FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in suffixes:
                yield path


def folder_of(path):
    parts = path.relative_to(ROOT).parts
    if parts[0] == "src":
        return parts[1]
    if parts[0] == "tools":
        return "/".join(parts[:2])
    return parts[0]


def check_arrows():
    problems = []
    for path in sources(".h", ".cpp"):
        folder = folder_of(path)
        if folder not in MAY_INCLUDE:
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = re.match(r'#include "([^"]+)"', line)
            if not match or "/" not in match.group(1):
                continue
            target = match.group(1).split("/")[0]
            allowed = target in MAY_INCLUDE[folder]
            if folder == "ui" and target == "pipeline":
                allowed = match.group(1) in UI_PIPELINE_HEADERS
            if not allowed:
                problems.append(f"{path.relative_to(ROOT)}:{number}: {folder} may not include {match.group(1)}")
    return problems


def check_platform_conditions():
    """Only platform code may ask which system it is on."""
    allowed = ("src/platform/", "src/ui/", "src/develop/gpu/context_", "src/base/message.h", "standin/", "tests/")
    problems = []
    for path in sources(".h", ".cpp"):
        name = str(path.relative_to(ROOT))
        if name.startswith(allowed):
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if re.match(r"\s*#\s*(if|ifdef|elif).*(_WIN32|__MINGW32__|__linux__)", line):
                problems.append(f"{name}:{number}: platform condition outside platform code")
    return problems


def run(command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True)


def check_format():
    files = [str(path) for path in sources(".h", ".cpp")]
    result = run(["clang-format", "--dry-run", "-Werror", *files])
    return sorted({line for line in result.stderr.splitlines() if "error:" in line})


def qt_flags():
    """Compiler flags of the settings window's toolkit, or nothing where it is not installed."""
    try:
        return run(["pkg-config", "--cflags", "Qt6Widgets"]).stdout.split()
    except OSError:
        return []


def syntax_check(path, extra):
    if "win32" in path.parts:
        command = [WINDOWS_COMPILER, "-std=c++20", "-fsyntax-only", "-w", "-DUNICODE", "-DNOMINMAX", "-DWIN32_LEAN_AND_MEAN", "-D_WIN32_WINNT=0x0A00",
                   "-Isrc", "-I.", *extra, str(path)]
        return errors_of(path, command)
    command = ["clang++", "-std=c++20", "-fsyntax-only", "-Wthread-safety", "-Wno-pragma-once-outside-header", "-Isrc", "-I.",
               f"-I{path.parent}", *extra, str(path)]
    return errors_of(path, command)


def errors_of(path, command):
    result = run(command)
    return [f"{path.relative_to(ROOT)}: {line}" for line in result.stderr.splitlines() if "error:" in line or "warning:" in line]


def check_headers_and_locks():
    """Every header compiles alone, and clang's thread-safety analysis finds no forgotten lock."""
    jobs = [(path, ["-x", "c++"]) for path in sources(".h") if folder_of(path) not in ("tests", "bench")]
    jobs += [(path, []) for path in sources(".cpp") if path.relative_to(ROOT).parts[0] == "src" and "win32" not in path.parts]
    if shutil.which(WINDOWS_COMPILER) is None:
        print("note: the Windows compiler is not installed; headers in win32 folders are not checked")
        jobs = [(path, extra) for path, extra in jobs if "win32" not in path.parts]
    qt = qt_flags()
    if qt:
        jobs = [(path, extra + ["-fPIC", "-DQT_NO_KEYWORDS", *qt] if "qt" in path.parts else extra) for path, extra in jobs]
    else:
        print("note: Qt 6 is not installed; src/ui/qt is not checked")
        jobs = [(path, extra) for path, extra in jobs if "qt" not in path.parts]
    with ThreadPoolExecutor(max_workers=2) as pool:
        return [line for lines in pool.map(lambda job: syntax_check(*job), jobs) for line in lines]


def check_fuzz_targets():
    """Every parser has a fuzz target with seeds."""
    problems = []
    for path in sorted((ROOT / "fuzz").glob("*_fuzz.cpp")):
        seeds = ROOT / "fuzz" / "seeds" / path.name.removesuffix("_fuzz.cpp")
        if not seeds.is_dir() or not any(seeds.iterdir()):
            problems.append(f"{path.relative_to(ROOT)}: no seeds in {seeds.relative_to(ROOT)}")
    return problems


def check_tidy(build):
    files = [str(path) for path in sources(".cpp") if path.relative_to(ROOT).parts[0] in ("src", "standin", "samples") and
             "win32" not in path.parts]
    result = run(["clang-tidy", "-quiet", "-p", build, *files])
    return [line for line in result.stdout.splitlines() if "warning:" in line or "error:" in line]


def note_sizes():
    for path in sources(".h", ".cpp"):
        lines = len(path.read_text().splitlines())
        if lines > 500:
            print(f"note: {path.relative_to(ROOT)} has {lines} lines; do two subjects share it?")


def main():
    build = sys.argv[1]
    problems = []
    checks = [check_arrows, check_platform_conditions, check_format, check_fuzz_targets, check_headers_and_locks]
    if "--tidy" in sys.argv:
        checks.append(lambda: check_tidy(build))
    for check in checks:
        problems += check()
    for problem in problems:
        print(problem)
    note_sizes()
    print(f"lint: {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

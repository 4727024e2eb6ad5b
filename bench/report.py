"""Rows of the benchmark table, the tables as text and as Markdown, and the machine they were measured on."""
from __future__ import annotations

import datetime
import os
import pathlib
import re
import resource
import shutil
import subprocess
import time
from dataclasses import dataclass
from typing import Iterable, Optional

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORES = os.cpu_count() or 1
TABLE_BEGIN, TABLE_END = "<!-- run_benchmarks begins -->", "<!-- run_benchmarks ends -->"


@dataclass(frozen=True)
class Row:
    work: str
    ours: str = "–"
    peer: str = "–"
    ratio: Optional[float] = None
    reach: str = "–"
    ok: Optional[bool] = None  # None: nothing is to be reached
    failed: bool = False  # not measured; `ours` or `peer` tells why

    def cells(self) -> list[str]:
        ratio = "–" if self.ratio is None else f"{self.ratio:.1f}x"
        ok = "not measured" if self.failed else "–" if self.ok is None else "yes" if self.ok else "NO"
        return [self.work, self.ours, self.peer, ratio, self.reach, ok]


HEADINGS = ["Work", "ours", "peer", "ratio", "reach", "ok"]


def ratio_row(work: str, ours: float, peer: float, peer_name: str, reach: Optional[float]) -> Row:
    """Both in seconds."""
    ratio = peer / ours
    return Row(work, duration(ours), f"{peer_name} {duration(peer)}", ratio, "–" if reach is None else f"{reach:g}x",
               None if reach is None else ratio >= reach)


def failed_row(work: str, why: str) -> Row:
    return Row(work, f"not measured: {why}", failed=True)


def duration(seconds: float) -> str:
    value, unit = (seconds, "s") if seconds >= 0.5 else (seconds * 1e3, "ms") if seconds >= 5e-4 else (seconds * 1e6, "µs")
    return f"{value:.{1 if value >= 10 else 2}f} {unit}"


def text_table(headings: list[str], lines: Iterable[list[str]]) -> str:
    rows = [headings, *lines]
    widths = [max(len(row[i]) for row in rows) for i in range(len(headings))]
    rows.insert(1, ["-" * width for width in widths])
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows)


def markdown_table(headings: list[str], lines: Iterable[list[str]]) -> str:
    rows = [headings, ["---"] * len(headings), *lines]
    return "\n".join("| " + " | ".join(row) + " |" for row in rows)


def write_markdown(path: pathlib.Path, text: str) -> None:
    """Replaces what stands between the two marks, or the whole file when it has none."""
    block = f"{TABLE_BEGIN}\n\n{text}\n\n{TABLE_END}"
    old = path.read_text() if path.exists() else ""
    begin, end = old.find(TABLE_BEGIN), old.find(TABLE_END)
    path.write_text(old[:begin] + block + old[end + len(TABLE_END):] if 0 <= begin < end else block + "\n")


def summary(rows: list[Row]) -> str:
    judged = [row for row in rows if row.ok is not None]
    missed = [row.work for row in judged if not row.ok]
    unmeasured = [row.work for row in rows if row.failed]
    lines = [f"Reached: {len(judged) - len(missed)} of {len(judged)}."]
    lines += [f"Missed: {work}." for work in missed]
    lines += [f"Not measured: {work}." for work in unmeasured]
    return "\n".join(lines)


def processor() -> str:
    info = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"model name\s*:\s*(.+)", info)
    flags = set((re.search(r"flags\s*:\s*(.+)", info) or [None, ""])[1].split())
    vectors = next((name for flag, name in (("avx512bw", "AVX-512"), ("avx2", "AVX2")) if flag in flags), "no AVX2")
    parts = [model[1] if model else os.uname().machine, f"{CORES} cores", vectors]
    cache = pathlib.Path("/sys/devices/system/cpu/cpu0/cache/index2/size")
    if cache.exists():
        parts.append(f"{int(cache.read_text().strip().rstrip('K')) // 1024} MiB L2 a core")
    return ", ".join(parts)


def commit() -> str:
    if shutil.which("git") is None:
        return "unknown"

    def git(*arguments: str) -> str:
        return subprocess.run(["git", "-C", str(ROOT), *arguments], capture_output=True, text=True).stdout.strip()

    changed = " with local changes" if git("status", "--porcelain", "--untracked-files=no") else ""
    return (git("rev-parse", "--short=10", "HEAD") or "unknown") + changed


def run_heading() -> str:
    return f"{processor()}. Commit {commit()}, {datetime.date.today().isoformat()}."


class OtherWork:
    """How much processor time others took between construction and the question, which spoils times on the wall."""

    def __init__(self) -> None:
        self._wall, self._others = time.monotonic(), self._seconds()

    @staticmethod
    def _seconds() -> float:
        """All processors' busy time (time stolen from this virtual machine included) less this program's and its commands'."""
        ticks = [int(value) for value in pathlib.Path("/proc/stat").read_text().split("\n", 1)[0].split()[1:9]]
        user, nice, system, _, _, irq, softirq, steal = ticks
        own = sum(usage.ru_utime + usage.ru_stime for usage in map(resource.getrusage, (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)))
        return (user + nice + system + irq + softirq + steal) / os.sysconf("SC_CLK_TCK") - own

    def cores(self) -> float:
        """The mean number of cores that others kept busy."""
        return max(0.0, (self._seconds() - self._others) / max(0.01, time.monotonic() - self._wall))

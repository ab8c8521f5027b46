"""Shared code for pages with measurements."""
import pathlib
import platform
import re


def figures(number):
    """Three significant figures, no exponent."""
    return f"{number:.0f}" if number >= 100 else f"{number:.3g}"


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|---|" + "---:|" * (len(header) - 1)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def processor_name():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.partition(":")[2].strip()
    return platform.machine()


def kernel():
    return re.match(r"[\d.]+", platform.release())[0].rstrip(".")


def replace_between(path, text):
    """Replaces the part of a page between the two marks."""
    begin, end = "<!-- measured: begin -->", "<!-- measured: end -->"
    page = path.read_text()
    before, _, rest = page.partition(begin)
    _, _, after = rest.partition(end)
    path.write_text(f"{before}{begin}\n\n{text}\n\n{end}{after}")

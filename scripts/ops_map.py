#!/usr/bin/env python3
"""Writes docs/OPERATIONS.md: for every exported function and class, where a
reader finds it: its header and section, the source file that defines it, the
row kernels it runs, and the tests and benchmarks that exercise it.

The list of names comes from tests/package/exported_symbols.txt (the names the
shared libraries export, checked by the test suite), so the map follows every
export. Usage:
    ops_map.py           rewrite docs/OPERATIONS.md
    ops_map.py --check   exit 1 when the committed map is out of date
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MAP = ROOT / "docs" / "OPERATIONS.md"
EXPORTS = ROOT / "tests" / "package" / "exported_symbols.txt"

# Internal functions that count as row kernels: pure loops over raw rows.
KERNEL = re.compile(r"\b([a-z]\w*(?:Row|Rows|Span|Spans|Kernel|Plane|Pass|Columns))\s*[(<]")
CALL = re.compile(r"\b([A-Za-z_]\w*)\s*\(")
KEYWORDS = {"if", "for", "while", "switch", "return", "sizeof", "static_cast", "reinterpret_cast",
            "const_cast", "catch", "decltype", "alignof", "assert", "defined"}


def read(path):
    return path.read_text(encoding="utf-8", errors="replace")


def rel(path):
    return path.relative_to(ROOT).as_posix()


def exported_names():
    """Free functions and classes, in the order of the export list."""
    functions, classes = [], []
    for line in read(EXPORTS).splitlines():
        if line.startswith(("typeinfo", "vtable", "std::", "guard variable")):
            continue
        head = line.split("(")[0]
        if "::" in head:
            cls = head.split("::")[0]
            if cls not in classes:
                classes.append(cls)
        elif head not in functions:
            functions.append(head)
    return sorted(functions, key=str.lower), sorted(classes, key=str.lower)


def header_sections():
    """name -> (header, section) for every declaration in the public headers."""
    found = {}
    for header in sorted((ROOT / "include" / "vqutil").glob("*.h")):
        lines = read(header).splitlines()
        section = ""
        for i, line in enumerate(lines):
            if (line.startswith("// ---") and i + 2 < len(lines) and lines[i + 2].startswith("// ---")
                    and lines[i + 1].startswith("// ")):
                section = lines[i + 1][3:].strip()
            m = re.match(r"\s*(?:class|struct)\s+VQ\w*_EXPORT\s+(\w+)", line)
            if m:
                found.setdefault(m.group(1), (header.name, section))
                continue
            if "_EXPORT" in line:
                m = re.search(r"(\w+)\s*\(", line.split("_EXPORT", 1)[1])
                if m:
                    found.setdefault(m.group(1), (header.name, section))
    return found


def function_bodies(text):
    """(name, qualified name, body) of every function defined at file level."""
    out = []
    for m in re.finditer(r"^[\w:<>,*& ]*?\b((?:\w+::)?~?\w+)\s*\(", text, re.M):
        # The body is the first brace block after the closing parenthesis,
        # unless a semicolon ends the declaration first.
        depth, i = 0, m.end() - 1
        while i < len(text):
            c = text[i]
            depth += c == "("
            depth -= c == ")"
            i += 1
            if depth == 0:
                break
        rest = text[i:i + 400]
        brace, semi = rest.find("{"), rest.find(";")
        if brace < 0 or (0 <= semi < brace):
            continue
        start = i + brace
        depth, j = 0, start
        while j < len(text):
            depth += text[j] == "{"
            depth -= text[j] == "}"
            j += 1
            if depth == 0:
                break
        qualified = m.group(1)
        out.append((qualified.split("::")[-1], qualified, text[start:j]))
    return out


def index_sources():
    """Definitions in src/: qualified name -> [(file, body)]; bare name -> [(file, body)]."""
    by_qualified, by_name = {}, {}
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        for name, qualified, body in function_bodies(read(path)):
            by_qualified.setdefault(qualified, []).append((rel(path), body))
            by_name.setdefault(name, []).append((rel(path), body))
    return by_qualified, by_name


def kernels_of(bodies, by_name, depth=4):
    """Row kernels reached from the bodies through internal helpers."""
    seen, kernels, frontier = set(), [], list(bodies)
    for _ in range(depth):
        nxt = []
        for body in frontier:
            for k in KERNEL.findall(body):
                if k not in kernels:
                    kernels.append(k)
            for call in CALL.findall(body):
                if call in seen or call in KEYWORDS or call[0].isupper():
                    continue
                seen.add(call)
                nxt.extend(b for _, b in by_name.get(call, []))
        frontier = nxt
    return kernels


def mentions(paths, name):
    pattern = re.compile(r"\b" + re.escape(name) + r"\b")
    return [p for p in paths if pattern.search(read(p))]


def bench_cases(name):
    cases = []
    pattern = re.compile(r"\b" + re.escape(name) + r"\b")
    for path in sorted((ROOT / "bench").glob("*.cpp")):
        for chunk in re.split(r"\n(?=(?:static )?void BM_)", read(path)):
            m = re.match(r"(?:static )?void (BM_\w+)", chunk)
            if m and pattern.search(chunk):
                cases.append(m.group(1))
    return cases


def cell(items, limit=3):
    items = list(dict.fromkeys(items))
    if not items:
        return "—"
    shown = ", ".join(f"`{i}`" for i in items[:limit])
    return shown + (f" +{len(items) - limit}" if len(items) > limit else "")


def build():
    functions, classes = exported_names()
    sections = header_sections()
    by_qualified, by_name = index_sources()
    tests = sorted((ROOT / "tests").glob("*.cpp"))
    rows = []
    for name in functions:
        header, section = sections.get(name, ("—", ""))
        defs = [d for d in by_qualified.get(name, [])]
        sources = [f for f, _ in defs]
        kernels = kernels_of([b for _, b in defs], by_name)
        rows.append((name, f"{header} § {section}" if section else header, sources, kernels,
                     [p.name for p in mentions(tests, name)], bench_cases(name)))
    for cls in classes:
        header, section = sections.get(cls, ("—", ""))
        defs = [d for q, ds in by_qualified.items() if q.startswith(cls + "::") for d in ds]
        sources = sorted({f for f, _ in defs})
        kernels = kernels_of([b for _, b in defs], by_name, depth=2)
        rows.append((f"class {cls}", f"{header} § {section}" if section else header, sources, kernels,
                     [p.name for p in mentions(tests, cls)], bench_cases(cls)))
    lines = [
        "# Operations map",
        "",
        "Every exported function and class: where it is declared (header § section), defined, which row",
        "kernels it runs, and which tests and benchmark cases exercise it. Generated by",
        "`scripts/ops_map.py` from the export list and the sources; the test suite fails when it is out of",
        "date, so after adding or moving an operation run `python3 scripts/ops_map.py`.",
        "",
        "| Name | Declared | Defined | Row kernels | Tests | Benchmarks |",
        "|---|---|---|---|---|---|",
    ]
    for name, declared, sources, kernels, test_files, benches in rows:
        lines.append(f"| `{name}` | {declared} | {cell(sources)} | {cell(kernels)} | {cell(test_files)} | "
                     f"{cell(benches, 2)} |")
    return "\n".join(lines) + "\n"


def main():
    text = build()
    if "--check" in sys.argv[1:]:
        if not MAP.exists() or read(MAP) != text:
            print(f"{rel(MAP)} is out of date: run python3 scripts/ops_map.py", file=sys.stderr)
            return 1
        print(f"{rel(MAP)} is up to date")
        return 0
    MAP.parent.mkdir(exist_ok=True)
    MAP.write_text(text, encoding="utf-8")
    print(f"wrote {rel(MAP)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())

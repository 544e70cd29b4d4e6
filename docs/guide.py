#!/usr/bin/env python3
"""Holds the guide against what it shows: guide.py [--write]

Links lead to files and headings, code is that of files which are built, each recipe and
picture is shown, every page can be reached, and docs/threads.md names every class. A block
of code comes from the file that the comment above it names: `<!-- from FILE -->`, or
`<!-- from FILE, lines broken -->`. With --write, the blocks of docs/recipes.md and
docs/python.md that are not in their files any more become the whole of them.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BLOCK = re.compile(r"(?:<!-- from ([^\s,]+)(, lines broken)? -->\n)?^```(\w*)\n(.*?)^```$", re.M | re.S)
faults = []


def fault(page, text):
    faults.append(f"{page.relative_to(ROOT)}: {text}")


def prose_of(text):
    return BLOCK.sub("", text)


def links_of(text):
    return re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`\n]*`", "code", prose_of(text)))


def anchors_of(text):
    headings = re.findall(r"^#+ (.*)$", prose_of(text), re.M)
    return {re.sub(r"[^\w-]", "", heading.lower().replace(" ", "-")) for heading in headings}


def is_excerpt(block, source):
    """Whether the lines stand in the file one after the other, all indented alike."""
    if not block:
        return False  # it is to be filled in
    first, *rest = block.splitlines()
    pattern = "^(?P<indent> *)" + re.escape(first) + r"\n"
    pattern += "".join(("(?P=indent)" + re.escape(line) if line else "") + r"\n" for line in rest)
    return re.search(pattern, source, re.M) is not None


def check_blocks(page, text):
    for source, broken, language, block in BLOCK.findall(text):
        if not source:
            if language in ("cpp", "python"):
                fault(page, "code from no file")
            continue
        file = (ROOT / source).read_text()
        if broken:
            shown = "".join(block.split()) in "".join(file.split())
        else:
            shown = block and is_excerpt(block, file)
        if not shown:
            fault(page, f"a block that is not in {source}")


def check_links(page, text, texts, shown):
    for link in links_of(text):
        if "://" in link or link.startswith("mailto:"):
            continue
        path, _, anchor = link.partition("#")
        target = (page.parent / path).resolve() if path else page
        shown.setdefault(page, set()).add(target)
        if not target.exists():
            fault(page, f"{link} leads nowhere")
        elif anchor and anchor not in anchors_of(texts[target]):
            fault(page, f"{link}: no such heading")


def check_recipes(page, text):
    whole = {source for source, _, _, block in BLOCK.findall(text)
             if source and block == (ROOT / source).read_text()}
    built = (ROOT / "examples/CMakeLists.txt").read_text()
    for recipe in sorted((ROOT / "examples/recipes").glob("*.cpp")):
        if f"examples/recipes/{recipe.name}" not in whole:
            fault(page, f"{recipe.name} is not shown as it is: {__file__} --write")
        if f"core_example(recipes/{recipe.stem}" not in built:
            fault(page, f"{recipe.name} is not built")


def check_reach(shown):
    reached, to_read = set(), [ROOT / "README.md"]
    while to_read:
        page = to_read.pop()
        if page not in reached:
            reached.add(page)
            to_read += shown.get(page, ())
    for file in [*(ROOT / "docs").rglob("*.md"), *(ROOT / "docs").rglob("*.svg")]:
        if file not in reached:
            fault(file, "no page leads here")


def check_threads():
    page = ROOT / "docs/threads.md"
    table = page.read_text()
    for header in (ROOT / "include/core").rglob("*.h"):
        for name in re.findall(r"^class CORE_API (\w+)", header.read_text(), re.M):
            if f"`{name}`" not in table:
                fault(page, f"{name} is missing")


def write_recipes(page):
    def renewed(match):
        source, _, language, block = match.groups()
        if not source or is_excerpt(block, (ROOT / source).read_text()):
            return match.group(0)
        return f"<!-- from {source} -->\n```{language}\n{(ROOT / source).read_text()}```"

    page.write_text(BLOCK.sub(renewed, page.read_text()))


def main():
    if sys.argv[1:] == ["--write"]:
        write_recipes(ROOT / "docs/recipes.md")
        write_recipes(ROOT / "docs/python.md")
    pages = [page for page in ROOT.rglob("*.md")
             if not any(part == "build" or part.startswith(".") for part in page.relative_to(ROOT).parts)]
    texts = {page: page.read_text() for page in pages}
    shown = {}
    for page, text in texts.items():
        if len(re.findall(r"^```", text, re.M)) % 2:
            fault(page, "a fence that is not closed")
        check_blocks(page, text)
        check_links(page, text, texts, shown)
    check_recipes(ROOT / "docs/recipes.md", texts[ROOT / "docs/recipes.md"])
    check_reach(shown)
    check_threads()
    print(*faults, sep="\n")
    return 1 if faults or len(pages) < 10 else 0


sys.exit(main())

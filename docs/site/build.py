#!/usr/bin/env python3
"""build.py SOURCES SITE: builds the documentation site in the folder SITE and checks it.

Doxygen must have nothing to warn of, and every link within the site must lead somewhere. Files of the
sources that a page links to are copied into the site.
"""
import html.parser
import os
import pathlib
import re
import runpy
import shutil
import subprocess
import sys
import urllib.parse

sources, site = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
pages = site / "html"
failures = []

# See WARN_IF_UNDOCUMENTED in the Doxyfile.
MAY_STAND_ALONE = re.compile(
    r"warning: Member .* (of (class|struct) \S+|\(variable\) of file \S+) is not documented\.")


def installed_headers():
    inner = set(re.findall(r"PATTERN (\w+\.h) EXCLUDE", (sources / "cmake/Install.cmake").read_text()))
    return [str(header.relative_to(sources))
            for layer in ("common", "catalogue", "recordstore", "foundation")
            for header in sorted((sources / layer).glob("*.h")) if header.name not in inner]


def check_comments_of_all(headers):
    text = "".join((sources / header).read_text() for header in headers)
    failures.extend(f"header-comments.py: no header says: {beginning}"
                    for beginning in runpy.run_path(sources / "docs/site/header-comments.py")["OF_ALL"]
                    if f"// {beginning}" not in text)


def version():
    return re.search(r"project\(quendril VERSION ([\d.]+)", (sources / "CMakeLists.txt").read_text())[1]


def run_doxygen(headers):
    doxyfile = (sources / "docs/site/Doxyfile").read_text()
    others = [f"docs/{page.name}" for page in sorted((sources / "docs").glob("*.md"))
              if f"docs/{page.name}" not in doxyfile]
    environment = {**os.environ, "SITE": str(site), "VERSION": version(), "OTHER_PAGES": " ".join(others),
                   "HEADERS": " ".join(headers)}
    shutil.rmtree(pages, ignore_errors=True)
    site.mkdir(parents=True, exist_ok=True)
    done = subprocess.run(["doxygen", "docs/site/Doxyfile"], cwd=sources, env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    warnings = done.stdout.splitlines() + (site / "warnings.txt").read_text().splitlines()
    failures.extend(sorted({line for line in warnings if not MAY_STAND_ALONE.search(line)}))
    if done.returncode != 0:
        failures.append(f"doxygen ended with {done.returncode}")
    shutil.copytree(sources / "docs/plots", pages / "plots", dirs_exist_ok=True)


class Page(html.parser.HTMLParser):
    """The links of a page, and what others may link to in it."""

    def __init__(self, path):
        super().__init__()
        self.links = set()
        self.anchors = set()
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src", "data") and value:
                self.links.add(value)
            elif name in ("id", "name") and value:
                self.anchors.add(value)


def copy_from_sources(target):
    """Whether there is such a file in the sources, for the site to have it too."""
    found = sources / target
    if not found.is_file():
        return False
    (pages / target).parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(found, pages / target)
    return True


def check_links_of_sources():
    """The pages' own links, for those who read them without the site."""
    for page in [sources / "README.md", sources / "CHANGELOG.md", sources / "tests/README.md",
                 *sorted((sources / "docs").glob("*.md"))]:
        for link in re.findall(r"\]\(([^)#]+)", page.read_text()):
            if "://" not in link and not (page.parent / link).exists():
                failures.append(f"{page.relative_to(sources)}: leads nowhere: {link}")


def check_links():
    content = {path: Page(path) for path in sorted(pages.glob("*.html"))}
    for path, page in content.items():
        for link in sorted(page.links):
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            name = urllib.parse.unquote(parts.path)
            target = pages / name if name else path
            if not target.is_file() and not copy_from_sources(name):
                failures.append(f"{path.name}: leads nowhere: {link}")
            elif parts.fragment and target in content and parts.fragment not in content[target].anchors:
                failures.append(f"{path.name}: leads to no such place: {link}")


installed = installed_headers()
run_doxygen(installed)
check_comments_of_all(installed)
check_links_of_sources()
check_links()
for failure in failures:
    print("FAILED:", failure)
if not failures:
    print(f"The site begins at {pages / 'index.html'}")
sys.exit(1 if failures else 0)

"""A page of the documentation that is written from a run."""
import difflib
import sys


def settle(page, found):
    """Compares the page with what was found, and exits with 1 if they differ; with --update it is written anew."""
    if sys.argv[-1] == "--update":
        page.write_text(found, encoding="utf-8")
    expected = page.read_text(encoding="utf-8")
    sys.stdout.writelines(difflib.unified_diff(expected.splitlines(True), found.splitlines(True), str(page), "this run"))
    if found != expected:
        sys.exit(f"\nIf this is right: {' '.join([sys.executable, *sys.argv])} --update")

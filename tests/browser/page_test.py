#!/usr/bin/env python3
"""The page of a preview in a real browser: it shows what the sort then does, to everybody, and runs nothing of the file's."""

import plistlib
import random
import shutil
import subprocess
import unittest

import runner
from bookmark_trees import folder, leaf, root, title_of
from bookmarks import difference, generated, gone, places, plain, plainly
from home import BOOKMARKS, SAMPLES, HomeTest
from window import BrowserTest, entries, missing, visible

HOSTILE = [
    "<script>document.title='ran'</script>",
    "<img src=x onerror=alert(1)>",
    '" onmouseover="alert(1)" x="',
    "' autofocus onfocus='alert(1)",
    "</bdi></li></ul></section></main><h1>gone</h1>",
    "</style><style>*{display:none}</style>",
    "<!--",
    "]]>",
    "&lt;b&gt; &amp;amp; &#60;i&#62;",
    "{{7*7}} ${7*7} <%= 7 %>",
    "<a href=javascript:alert(1)>x</a>",
    "<meta http-equiv=refresh content='0;url=https://evil.example/'>",
]
ADDRESSES = ["javascript:alert(1)", "data:text/html,<script>alert(1)</script>", '"><script>alert(1)</script>']
# WCAG 2, level AA, for text of ordinary size.
CONTRAST = 4.5
# The colour of each text, over the nearest background that is not see-through.
CONTRASTS = """
(() => {
  const parsed = (text) => (text.match(/[\\d.]+/g) ?? []).map(Number);
  const light = (color) => {
    const [r, g, b] = color.slice(0, 3).map((c) => {
      const part = c / 255;
      return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const behind = (element) => {
    for (let e = element; e; e = e.parentElement) {
      const color = parsed(getComputedStyle(e).backgroundColor);
      if (color.length === 3 || color[3] === 1) return color;
    }
    return [255, 255, 255];
  };
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  const found = [];
  while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (walker.currentNode.data.trim() === "" || !element.checkVisibility()) continue;
    if (element.closest("script, style, label:has(:disabled)")) continue;
    const [one, two] = [light(parsed(getComputedStyle(element).color)), light(behind(element))].sort((a, b) => b - a);
    found.push([(one + 0.05) / (two + 0.05), element.tagName + "." + element.className]);
  }
  return found.sort((a, b) => a[0] - b[0]);
})()
"""


@unittest.skipIf(missing(), missing())
class Page(BrowserTest, HomeTest):
    def page(self, tree=None, *options, fmt=plistlib.FMT_BINARY):
        """The page made of a tree, or of the file that is there."""
        if tree is not None:
            self.write(tree, fmt)
        made = self.tarvel("preview", *options, "-o", "page.html", self.file)
        self.assertIn(made.returncode, (0, 10), made.stderr)
        return self.home / "page.html"

    def sort(self, *options):
        done = self.tarvel("sort", *options, self.file)
        self.assertIn(done.returncode, (0, 2), done.stderr)
        return self.read()

    def check_prophecy(self, *options):
        """That the page shows the file as it is, and as the sort leaves it, and what became of each entry."""
        before = self.read()
        window = self.window(self.page(None, *options))
        shown = {side: window.shown(side) for side in ("before", "after")}
        after = self.sort(*options)
        self.assertEqual(plainly(shown["before"]), plain(before))
        self.assertEqual(plainly(shown["after"]), plain(after))
        self.check_marks(shown, before, after)
        self.check_counts(window, before, after)
        self.assertEqual(window.noticed(), [])

    def check_marks(self, shown, before, after):
        removed = [(around, e) for around, e in entries(shown["before"]) if "removed" in e["kinds"]]
        said = sorted(repr((around, e["title"], e["address"])) for around, e in removed)
        self.assertEqual(said, gone(before, after))
        for _, entry in removed:
            self.assertTrue(entry["why"], entry)
        for side in ("before", "after"):
            marks = [kind for _, entry in entries(shown[side]) for kind in entry["kinds"]]
            for kind, count in difference(before, after).items():
                expected = 0 if kind == "removed" and side == "after" else count
                self.assertEqual(marks.count(kind), expected, (side, kind))

    def check_counts(self, window, before, after):
        self.assertEqual(window.text("label:has(#only-all) b"), str(len(places(before))))
        self.check_filters(window, before, after)

    def check_filters(self, window, before, after):
        """A filter shows its count, and is left out where that is zero."""
        for kind, count in difference(before, after).items():
            self.assertEqual(window.count(f"#only-{kind}"), 1 if count else 0, kind)
            if count:
                self.assertEqual(window.text(f"label:has(#only-{kind}) b"), str(count), kind)

    def test_it_shows_what_the_sort_then_does_on_bookmarks_files(self):
        checked = 0
        for sample in sorted([*BOOKMARKS.iterdir(), *((SAMPLES / "bookmarks").iterdir() if SAMPLES else [])]):
            top = [title_of(child) for child in plistlib.loads(sample.read_bytes())["Children"]]
            if "BookmarksBar" not in top or "BookmarksMenu" not in top:
                continue
            with self.subTest(sample=sample.name):
                shutil.copy(sample, self.file)
                self.file.chmod(0o600)
                self.check_prophecy("--sort-bookmarks-bar")
                checked += 1
        self.assertGreater(checked, 1)

    def test_it_shows_what_the_sort_then_does_on_generated_trees(self):
        options = [[], ["--sort-bookmarks-bar"], ["--no-remove-duplicates"], ["--no-folders-at-top"]]
        for seed in range(8):
            with self.subTest(seed=seed):
                self.write(generated(random.Random(seed), 90))
                self.check_prophecy(*options[seed % len(options)])

    def test_a_reason_names_the_bookmark_that_stays_and_leads_to_it(self):
        tree = root(
            folder("BookmarksBar"),
            folder(
                "BookmarksMenu",
                leaf("Zebra"),
                leaf("Tea", "https://tea.example/"),
                leaf("Other tea", "https://tea.example/"),
                folder("Empty"),
                leaf("Nowhere", ""),
            ),
        )
        window = self.window(self.page(tree))
        why = {e["title"]: e["why"] for _, e in entries(window.shown("before")) if "removed" in e["kinds"]}
        self.assertEqual(why["Empty"], ["empty folder"])
        self.assertEqual(why["Nowhere"], ["no address"])
        self.assertEqual(why["Tea"], ["same address as “Other tea” in BookmarksMenu"])
        window.click(".removed .why a")
        self.assertEqual(window.text("#after :target .t"), "Other tea")

    def test_what_waits_for_an_order_to_change_is_marked_and_stays_and_the_page_says_so(self):
        tree = root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("a"), leaf("b", "")))
        window = self.window(self.page(tree))
        shown = entries(window.shown("before"))
        self.assertEqual([e["title"] for _, e in shown if "removed" in e["kinds"]], ["b"])
        self.assertEqual(plainly(window.shown("after")), plain(tree))
        self.assertIn("waits for the next change of order", window.text("header"))
        self.sort()
        self.assertEqual(self.read(), tree)

    def test_a_filter_shows_its_kind_and_the_folders_around_it_with_scripts_off(self):
        for scripts in (True, False):
            self.write(generated(random.Random(3), 60))
            window = self.window(self.page(), scripts=scripts)
            for kind in ("moved", "removed", "named"):
                window.choose(kind)
                shown = entries(window.shown("before"))
                wanted = [entry for _, entry in shown if kind in entry["kinds"]]
                self.assertTrue(wanted, kind)
                for entry in wanted:
                    self.assertTrue(entry["visible"], entry)
                for _, entry in shown:
                    below = [kind in inner["kinds"] for _, inner in entries(entry["children"])]
                    self.assertEqual(entry["visible"], kind in entry["kinds"] or any(below), entry)
            window.choose("all")
            self.assertEqual(len(visible(window.shown("before"))), len(shown))

    def test_a_filter_that_finds_nothing_on_a_side_leaves_one_column(self):
        tree = root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("a", ""), leaf("b")))
        window = self.window(self.page(tree))
        window.choose("removed")
        self.assertTrue(window.evaluate("document.querySelector('#before').checkVisibility()"))
        self.assertFalse(window.evaluate("document.querySelector('#after').checkVisibility()"))
        wide = "document.querySelector('#before').clientWidth > document.querySelector('main').clientWidth / 2 + 50"
        self.assertTrue(window.evaluate(wide))
        window.choose("all")
        self.assertFalse(window.evaluate(wide))

    def test_a_link_to_what_a_filter_or_the_search_hides_shows_everything(self):
        tree = root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("Zoo"), leaf("Tea", "https://t/"), leaf("Other", "https://t/")))
        window = self.window(self.page(tree))
        for hide in (lambda: window.choose("removed"), lambda: window.search("tea")):
            hide()
            window.click("#before .removed .why a")
            self.assertEqual(window.text("#after :target .t"), "Other")
            self.assertTrue(window.evaluate("document.querySelector(':target').checkVisibility()"))
            self.assertEqual(window.evaluate("document.querySelector('input:checked').id"), "only-all")
            self.assertEqual(window.evaluate("document.querySelector('#search').value"), "")
        # What is visible leaves the filter as it is.
        window.choose("moved")
        window.click("#before .k-moved[href]")
        self.assertEqual(window.evaluate("document.querySelector('input:checked').id"), "only-moved")

    def test_search_finds_titles_and_addresses_whatever_case_and_accents(self):
        tree = root(
            folder("BookmarksBar", leaf("Äpfel & Birnen", "https://fruit.example/")),
            folder("BookmarksMenu", folder("Reise", leaf("Zug", "https://bahn.example/Fahrplan")), leaf("Tee")),
        )
        window = self.window(self.page(tree))
        everything = visible(window.shown("before"))
        self.assertEqual(window.search("apfel"), "Found: 1 before, 1 after")
        self.assertEqual(visible(window.shown("before")), ["BookmarksBar", "Äpfel & Birnen"])
        self.assertEqual(window.search("fahrPLAN"), "Found: 1 before, 1 after")
        self.assertEqual(visible(window.shown("after")), ["BookmarksMenu", "Reise", "Zug"])
        self.assertEqual(window.search("nothing at all"), "Found: 0 before, 0 after")
        self.assertEqual(visible(window.shown("before")), [])
        window.search("")
        self.assertEqual(visible(window.shown("before")), everything)

    def test_search_opens_closed_folders_and_closes_them_again(self):
        self.write(generated(random.Random(5), 60))
        window = self.window(self.page())
        window.click("#close")
        self.assertEqual(window.count(".tree details[open]"), 0)
        window.search("example")
        self.assertGreater(window.count(".tree details[open]"), 0)
        window.search("")
        self.assertEqual(window.count(".tree details[open]"), 0)
        window.click("#open")
        self.assertEqual(window.count(".tree details:not([open])"), 0)

    def test_everything_can_be_reached_and_done_with_the_keyboard(self):
        window = self.window(self.page(generated(random.Random(2), 40)))
        focused = "(() => { const e = document.activeElement; return [e.tagName, e.className, e.id]; })()"
        window.press("Tab")
        self.assertEqual(window.evaluate(focused), ["A", "skip", ""])
        self.assertTrue(window.evaluate("document.activeElement.getBoundingClientRect().left >= 0"))
        window.press("Tab", "Tab", "Tab")
        self.assertEqual(window.evaluate(focused)[0], "INPUT")
        window.press("ArrowRight")
        self.assertEqual(window.evaluate("document.querySelector('input:checked').id"), "only-changed")
        window.press("ArrowLeft", "Tab")
        self.assertEqual(window.evaluate(focused)[2], "search")
        window.press("Tab", "Tab", "Tab")
        self.assertEqual(window.evaluate(focused)[0], "SUMMARY")
        opened = "document.activeElement.parentElement.open"
        was = window.evaluate(opened)
        window.press("Enter")
        self.assertEqual(window.evaluate(opened), not was)
        window.press("Space")
        self.assertEqual(window.evaluate(opened), was)
        style = "getComputedStyle(document.activeElement).outlineStyle"
        self.assertEqual(window.evaluate(style), "solid")

    def test_a_screen_reader_is_told_what_is_what(self):
        self.page(generated(random.Random(2), 40))
        window = self.window(self.home / "page.html")
        roles = self.browser.ask("roles", selector="body")
        for part in ("heading", "main", "navigation", "searchbox", "radio", "list", "listitem", 'group "Entries to show"'):
            self.assertIn(f"- {part}", roles)
        self.assertIn('searchbox "Search"', roles)
        self.assertEqual(window.evaluate("document.documentElement.lang"), "en")
        headings = window.evaluate("Array.from(document.querySelectorAll('h1, h2'), (h) => h.tagName)")
        self.assertEqual(headings, ["H1", "H2", "H2"])
        unnamed = "Array.from(document.querySelectorAll('input'), (i) => i.labels.length).filter((n) => n !== 1).length"
        self.assertEqual(window.evaluate(unnamed), 0)
        self.assertEqual(window.count("[role=status]"), 1)

    def test_titles_and_addresses_stay_text(self):
        rows = [leaf(title, f"https://n{n}.example/") for n, title in enumerate(HOSTILE)]
        rows += [leaf(f"address {n}", address) for n, address in enumerate(ADDRESSES)]
        rows += [folder(title, leaf("in it", f"https://f{n}.example/")) for n, title in enumerate(HOSTILE)]
        rows += [folder(title) for title in HOSTILE]
        tree = root(folder("BookmarksBar"), folder("BookmarksMenu", *rows, *[leaf(t, ADDRESSES[0]) for t in HOSTILE]))
        path = self.page(tree)
        for scripts in (True, False):
            window = self.window(path, scripts=scripts)
            self.assertEqual(plainly(window.shown("before")), plain(tree))
            self.assertEqual(window.count("h1, script, style, meta[http-equiv]"), 4)
            self.assertEqual(window.count("img, iframe, object, embed, form, base, link"), 0)
            attributes = "Array.from(document.querySelectorAll('*')).flatMap((e) => Array.from(e.attributes, (a) => a.name))"
            self.assertEqual([a for a in set(window.evaluate(attributes)) if a.startswith("on") or a == "style"], [])
            links = "Array.from(document.links, (a) => a.getAttribute('href')).filter((h) => !/^#[ab]?[a-z0-9]+$/.test(h))"
            self.assertEqual(window.evaluate(links), [])
            self.assertNotEqual(window.evaluate("document.title"), "ran")
            self.assertEqual(window.noticed(), [])

    def test_a_script_put_into_the_page_afterwards_is_not_run(self):
        path = self.page(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("a"))))
        path.write_text(path.read_text().replace("</main>", "</main><script>document.title = 'ran'</script>"))
        window = self.window(path)
        self.assertNotEqual(window.evaluate("document.title"), "ran")
        self.assertTrue(window.noticed())

    def test_every_text_can_be_read_in_the_light_and_in_the_dark(self):
        path = self.page(generated(random.Random(3), 60))
        backs = set()
        for scheme in ("light", "dark"):
            window = self.window(path, scheme=scheme)
            window.picture(f"{scheme}.png")
            found = window.evaluate(CONTRASTS)
            self.assertGreater(len(found), 100)
            self.assertGreaterEqual(found[0][0], CONTRAST, found[:3])
            backs.add(window.evaluate("getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(len(backs), 2)

    def test_only_the_titles_of_folders_are_bold(self):
        window = self.window(self.page(generated(random.Random(3), 60)))
        bold = """Array.from(document.querySelectorAll('.tree .t'), (t) =>
            [getComputedStyle(t).fontWeight >= 600, t.closest('li').classList.contains('folder')])"""
        found = window.evaluate(bold)
        self.assertIn([True, True], found)
        self.assertIn([False, False], found)
        self.assertEqual([pair for pair in found if pair[0] != pair[1]], [])

    def test_it_fits_a_phone(self):
        window = self.window(self.page(generated(random.Random(3), 60)), width=360, height=740)
        window.picture("phone.png")
        self.assertLessEqual(window.evaluate("document.documentElement.scrollWidth"), 360)
        left = "Array.from(document.querySelectorAll('section'), (s) => s.getBoundingClientRect().left)"
        one, other = window.evaluate(left)
        self.assertEqual(one, other)

    def test_paper_has_everything_that_folders_hide(self):
        path = self.page(generated(random.Random(3), 60))
        window = self.window(path)
        window.click("#close")
        self.browser.ask("paper", path=str(self.home / "page.pdf"))
        text = subprocess.run(["pdftotext", "-raw", self.home / "page.pdf", "-"], capture_output=True, check=True).stdout
        text = "".join(text.decode().split())
        addresses = [e["address"] for _, e in entries(window.shown("before")) if e["address"]]
        self.assertTrue(addresses)
        for address in addresses:
            self.assertIn(address, text)
        self.assertNotIn("Openall", text)

    def test_folders_deeper_than_a_browser_nests_are_shown_all_the_same(self):
        tree = leaf("the deepest", "https://deep.example/")
        for level in range(200, 0, -1):
            tree = folder(f"level {level}", tree)
        window = self.window(self.page(root(folder("BookmarksBar"), folder("BookmarksMenu", tree))))
        shown = [entry for _, entry in entries(window.shown("before"))]
        self.assertEqual([e["title"] for e in shown][2:], [f"level {n}" for n in range(1, 201)] + ["the deepest"])
        self.assertTrue(all(e["visible"] for e in shown))
        self.assertTrue(any(e["flat"] for e in shown))

    def test_ten_thousand_bookmarks_are_all_there_to_be_found(self):
        folders = [
            folder(f"Folder {n:03}", *[leaf(f"Page {n:03}-{i:02}", f"https://p{n}.example/{i}") for i in range(99, -1, -1)])
            for n in range(100)
        ]
        window = self.window(self.page(root(folder("BookmarksBar"), folder("BookmarksMenu", *folders))))
        self.assertEqual(window.text("label:has(#only-all) b"), "10102")
        self.assertEqual(window.search("page 042-17"), "Found: 1 before, 1 after")
        self.assertEqual(visible(window.shown("after")), ["BookmarksMenu", "Folder 042", "Page 042-17"])
        window.search("")
        window.choose("moved")
        moved = int(window.text("label:has(#only-moved) b"))
        self.assertEqual(moved, 9900)
        self.assertEqual(window.count("#before .moved"), moved)

    def test_a_difference_of_two_files_is_shown_the_same_way(self):
        before = generated(random.Random(7), 60)
        self.write(before)
        shutil.copy(self.file, self.home / "Old.plist")
        after = self.sort("--sort-bookmarks-bar")
        made = self.tarvel("diff", "-o", "page.html", "Old.plist", self.file)
        self.assertEqual(made.returncode, 10, made.stderr)
        window = self.window(self.home / "page.html")
        shown = {side: window.shown(side) for side in ("before", "after")}
        self.assertEqual(plainly(shown["before"]), plain(before))
        self.assertEqual(plainly(shown["after"]), plain(after))
        self.check_filters(window, before, after)


if __name__ == "__main__":
    runner.main()

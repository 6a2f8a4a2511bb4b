#!/usr/bin/env python3
"""Makes the bookmarks files of the tests and the bundled sample, with every structure that the browser writes. Python's
plistlib writes them, so that this project's reader is not only tested with its own writer.

make_bookmarks.py           writes the files
make_bookmarks.py --check   exit status 1 when a committed file differs from what would be written
"""

import datetime
import pathlib
import plistlib
import random
import sys
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[2]
FILES = ROOT / "tests/data/bookmarks"
READ_AT = datetime.datetime(2024, 3, 9, 18, 30, 15)


class Maker:
    """Makes nodes with the same identifiers on every run."""

    def __init__(self, seed):
        self.rng = random.Random(seed)

    def identifier(self):
        return str(uuid.UUID(int=self.rng.getrandbits(128), version=4)).upper()

    def sync(self):
        number = self.rng.randrange(10**6)
        return {
            "Key": f'{{"e":"{self.rng.getrandbits(48):012x}","n":{number}}}',
            "ServerID": f"https://sync.example/bookmarks/{number}",
            "Data": self.rng.randbytes(24),
        }

    def leaf(self, title, address, **more):
        node = {
            "URIDictionary": {} if title is None else {"title": title},
            "URLString": address,
            "WebBookmarkType": "WebBookmarkTypeLeaf",
            "WebBookmarkUUID": self.identifier(),
        }
        return {**node, **more}

    def folder(self, title, *children, **more):
        node = {
            "Children": list(children),
            "Title": title,
            "WebBookmarkType": "WebBookmarkTypeList",
            "WebBookmarkUUID": self.identifier(),
        }
        return {**node, **more}

    def proxy(self, title):
        return {
            "Title": title,
            "WebBookmarkIdentifier": title,
            "WebBookmarkType": "WebBookmarkTypeProxy",
            "WebBookmarkUUID": self.identifier(),
        }

    def unread(self, number, preview):
        """An entry of the reading list."""
        reading = {"DateAdded": READ_AT + datetime.timedelta(hours=number), "PreviewText": preview}
        fetched = {
            "AddedLocally": True,
            "DateLastFetched": READ_AT + datetime.timedelta(days=number),
            "FetchResult": 1,
            "Title": f"Article {number}",
            "neverFetchMetadata": False,
            "siteName": "Example News",
        }
        return self.leaf(
            f"Article {number}",
            f"https://news.example/articles/{number}?from=list",
            ReadingList=reading,
            ReadingListNonSync=fetched,
            imageURL=f"https://news.example/pictures/{number}.png",
            Sync=self.sync(),
        )

    def reading_list(self):
        previews = ["Tea is picked by hand.", "Grüße aus der Küche — «très bien»", "お茶の時間です", "x" * 300]
        entries = [self.unread(number, text) for number, text in enumerate(previews)]
        return self.folder("com.apple.ReadingList", *entries, ShouldOmitFromUI=True)

    def bar(self):
        return self.folder(
            "BookmarksBar",
            self.leaf("Weather", "https://weather.example/", Sync=self.sync()),
            self.folder("News", self.leaf("The Post", "https://post.example/"), self.leaf("Daily", "https://daily.example/")),
            self.leaf("Mail", "https://mail.example/"),
            self.leaf("Calendar", "https://calendar.example/", Title="An older title"),
            Sync=self.sync(),
        )

    def menu(self):
        deep = self.leaf("At the bottom", "https://deep.example/")
        for level in range(9, 0, -1):
            deep = self.folder(f"Level {level}", deep, self.leaf(f"Beside level {level}", f"https://beside.example/{level}"))
        return self.folder(
            "BookmarksMenu",
            self.leaf("Zebra", "https://zebra.example/"),
            self.leaf("Äpfel", "https://apfel.example/"),
            self.leaf("apple", "https://apple.example/"),
            self.leaf("Tea", "https://tea.example/"),
            self.leaf("Tea again", "https://tea.example/"),
            self.leaf(None, "https://untitled.example/"),
            self.leaf("Blank address", "  "),
            self.folder("Nothing in it"),
            self.folder("Only nothing", self.folder("Nothing in it either")),
            self.leaf("Same", "https://same.example/1"),
            self.leaf("Same", "https://same.example/2"),
            self.folder("Same", self.leaf("Inside", "https://inside.example/")),
            deep,
            self.folder("Hidden", self.leaf("b", "https://b.example/"), self.leaf("a", "https://a.example/"), ShouldOmitFromUI=True),
            Sync=self.sync(),
        )

    def root(self, *children, **more):
        node = {
            "Children": list(children),
            "Title": "",
            "WebBookmarkFileVersion": 1,
            "WebBookmarkType": "WebBookmarkTypeList",
            "WebBookmarkUUID": self.identifier(),
        }
        return {**node, **more}


def complete():
    make = Maker(1)
    titles = ["“Quoted”", "Café – menu", "日本語", "Привет", "🍵 emoji", "item 10", "item 2", "Item 1", "ñu", "zz"]
    many = [make.leaf(f"{title} {n}", f"https://many.example/{n}/{i}") for n in range(4) for i, title in enumerate(titles)]
    make.rng.shuffle(many)
    return make.root(
        make.proxy("History"),
        make.bar(),
        make.menu(),
        make.reading_list(),
        make.proxy("Bonjour"),
        make.folder("Many", *many, Sync=make.sync()),
        make.leaf("At the top level", "https://top.example/"),
        {"WebBookmarkUUID": make.identifier(), "Title": "Of no known type", "Note": b"\x00\x01\xfe\xff"},
        Sync={
            "CloudKitDeviceIdentifier": "0" * 64,
            "CloudKitMigrationState": 3,
            "CloudKitAccountHash": make.rng.randbytes(20),
            "HomeURL": "https://start.example/",
        },
    )


def without(title):
    tree = complete()
    tree["Children"] = [child for child in tree["Children"] if child.get("Title") != title]
    return tree


def new_profile():
    make = Maker(2)
    return make.root(make.proxy("History"), make.folder("BookmarksBar"), make.folder("BookmarksMenu"), make.reading_list())


def sample():
    """A small file with an example of each rule."""
    make = Maker(3)
    return make.root(
        make.proxy("History"),
        make.folder("BookmarksBar", make.leaf("Weather", "https://weather.example/"), make.leaf("Mail", "https://mail.example/")),
        make.folder(
            "BookmarksMenu",
            make.leaf("Tea", "https://tea.example/"),
            make.folder("Travel", make.leaf("Trains", "https://trains.example/"), make.leaf("Maps", "https://maps.example/")),
            make.leaf("apples", "https://apples.example/"),
            make.leaf("Tea again", "https://tea.example/"),
            make.folder("Old things"),
        ),
        make.reading_list(),
        make.folder(
            "Cooking",
            make.leaf("Soup", "https://soup.example/"),
            make.leaf("Bread", "https://bread.example/1"),
            make.leaf("Bread", "https://bread.example/2"),
            make.leaf(None, "https://untitled.example/"),
        ),
        Sync={"CloudKitDeviceIdentifier": "0" * 64, "CloudKitMigrationState": 0},
    )


def files():
    """(name, tree, format) of every file."""
    yield FILES / "Bookmarks.plist", complete(), plistlib.FMT_BINARY
    yield FILES / "Bookmarks-as-XML.plist", complete(), plistlib.FMT_XML
    yield FILES / "new-profile.plist", new_profile(), plistlib.FMT_BINARY
    yield FILES / "without-bar.plist", without("BookmarksBar"), plistlib.FMT_BINARY
    yield FILES / "without-menu.plist", without("BookmarksMenu"), plistlib.FMT_XML
    yield ROOT / "samples/Bookmarks.plist", sample(), plistlib.FMT_BINARY


def differs(path, data):
    return not path.is_file() or path.read_bytes() != data


def main():
    stale = []
    for path, tree, form in files():
        data = plistlib.dumps(tree, fmt=form)
        if not differs(path, data):
            continue
        stale.append(str(path.relative_to(ROOT)))
        if "--check" not in sys.argv:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(data)
    if "--check" in sys.argv and stale:
        sys.exit(f"run tests/data/make_bookmarks.py: {', '.join(stale)}")


if __name__ == "__main__":
    main()

#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "browser/host/removed_title.h"
#include "tests/browser/host/session_fixture.h"

namespace tarvel {

namespace {

/// Of a folder, the titles of its children.
std::string titlesIn(const BrowserModel& model, const std::string& folder) {
  std::string titles;
  for (const std::string& id : model.nodes().at(folder).children) {
    titles += (titles.empty() ? "" : " ") + model.nodes().at(id).title;
  }
  return titles;
}

BrowserModel unsorted(BrowserFamily family = BrowserFamily::kChromium) {
  BrowserModel model(family);
  for (const char* title : {"c", "a", "b"}) {
    (void)model.add(model.otherRoot(), title, "bookmark", std::string("https://example.org/") + title);
  }
  return model;
}

TEST(BrowserSession, TheGreetingHasTheProtocolAndTheSettings) {
  SessionFixture t;
  t.preferences.setInteger(kBookmarksUpdateLatencyKey, 7, kMainApplicationIdentifier);
  t.preferences.setBoolean(kAutoSortBrowsersKey, true, kMainApplicationIdentifier);
  t.reconnect();
  const auto& hello = t.replies.back();
  EXPECT_EQ(hello["protocol"], kProtocolVersion);
  EXPECT_EQ(hello["automatic"], true);
  EXPECT_EQ(hello["latency"], 7);
  EXPECT_EQ(hello["runs"], 0);
}

TEST(BrowserSession, AutomaticSortingIsOffByDefault) {
  SessionFixture t;
  EXPECT_EQ(t.replies.back()["automatic"], false);
  EXPECT_EQ(t.ask({{"type", "set"}, {"automatic", true}}).back()["type"], "ok");
  t.reconnect();
  EXPECT_EQ(t.replies.back()["automatic"], true);
  t.preferences.setFlushWorks(false);
  EXPECT_EQ(t.ask({{"type", "set"}, {"automatic", false}}).back()["code"], "settings");
}

TEST(BrowserSession, AnotherProtocolGetsThisOneAndNoSettings) {
  SessionFixture t;
  std::string hello = R"({"type":"hello","protocol":2,"profile":"p"})";
  t.replies.clear();
  EXPECT_FALSE(t.session->answer(hello));
  ASSERT_EQ(t.replies.size(), 1);
  EXPECT_EQ(t.replies[0]["protocol"], kProtocolVersion);
  EXPECT_FALSE(t.replies[0].contains("automatic"));
}

TEST(BrowserSession, MalformedMessagesEndTheConnection) {
  for (const std::string text : {"", "{", "[]", "7", "{\"type\":7}", "{\"type\":\"hello\",\"protocol\":\"1\"}",
                                 "{\"type\":\"plan\",\"tree\":{}}", "\xff", "{\"type\":\"\\x\"}"}) {
    SessionFixture t;
    std::string message = text;
    t.replies.clear();
    EXPECT_FALSE(t.session->answer(message)) << text;
    EXPECT_EQ(t.replies.back()["code"], "malformed") << text;
  }
}

TEST(BrowserSession, APlanBeforeTheGreetingIsRefused) {
  SessionFixture t;
  t.session = std::make_unique<BrowserSession>(t.platform, t.preferences, "/records", [&t](std::string_view reply) {
    t.replies.push_back(nlohmann::json::parse(reply));
    return true;
  });
  EXPECT_EQ(t.plan(unsorted(), "sort"), "malformed");
}

TEST(BrowserSession, RefusesRepeatedIdsAndFoldersNestedTooDeep) {
  SessionFixture t;
  EXPECT_EQ(t.askText(R"({"type":"plan","task":"sort","tree":[{"children":[{"id":"1","title":"","children":[)"
                      R"({"id":"5","title":"a","url":"b"},{"id":"5","title":"a","url":"b"}]}]}]})")
                .back()["code"],
            "malformed");
  for (const std::size_t depth : {kDeepestFolder, kDeepestFolder + 1, std::size_t{100'000}}) {
    std::string text = R"({"type":"plan","task":"sort","tree":[{"children":[)";
    for (std::size_t i = 0; i < depth; ++i) text += R"({"id":")" + std::to_string(i) + R"(","title":"","children":[)";
    for (std::size_t i = 0; i < depth; ++i) text += "]}";
    EXPECT_EQ(t.askText(text + "]}]}").back()["type"], depth <= kDeepestFolder ? "operations" : "error") << depth;
  }
}

TEST(BrowserSession, RefusesIdsLongerThanABrowserMakesThem) {
  SessionFixture t;
  for (const std::size_t length : {std::size_t{100}, std::size_t{101}, 2 * kLongestReply}) {
    const std::string id(length - 1, 'x');
    const std::string tree = R"({"type":"plan","task":"sort","tree":[{"children":[{"id":"1","children":[{"id":")" + id +
                             R"(1","title":"b","url":"x"},{"id":")" + id + R"(2","title":"a","url":"y"}]}]}]})";
    EXPECT_EQ(t.askText(tree).back()["type"], length <= 100 ? "operations" : "error") << length;
    EXPECT_LE(t.longestReply, kLongestReply);
    t.reconnect();
  }
}

TEST(BrowserSession, RefusesMoreEntriesThanTheLimit) {
  SessionFixture t;
  std::string text = R"({"type":"plan","task":"sort","tree":[{"children":[{"id":"x")";
  for (std::size_t i = 0; i < kMostNodes; ++i) text += R"(},{"id":")" + std::to_string(i) + "\"";
  EXPECT_EQ(t.askText(text + "}]}]}").back()["code"], "malformed");
}

TEST(BrowserSession, APreviewListsTheChangesAndWritesNoRecord) {
  SessionFixture t;
  const auto replies = t.ask({{"type", "plan"}, {"task", "sort"}, {"preview", true}, {"tree", unsorted().tree()}});
  ASSERT_EQ(replies.size(), 1);
  EXPECT_EQ(replies[0]["type"], "changes");
  EXPECT_EQ(replies[0]["moved"], 1);
  EXPECT_EQ(replies[0]["list"][0]["path"], nlohmann::json({"Root 2"}));
  EXPECT_EQ(replies[0]["list"][0]["entries"][0]["title"], "c");
  EXPECT_EQ(replies[0]["list"][0]["entries"][0]["changes"][0], nlohmann::json({"moved", 1, 3}));
  EXPECT_EQ(t.recordCount(), 0);
}

TEST(BrowserSession, APreviewCountsFoldersInOrderWhosePositionsAreRepaired) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kFirefox);
  for (const char* title : {"a", "b"}) (void)model.add(model.otherRoot(), title, "bookmark", "https://example.org");
  nlohmann::json tree = model.tree();
  const auto preview = [&t, &tree] {
    return t.ask({{"type", "plan"}, {"task", "sort"}, {"preview", true}, {"tree", tree}}).back();
  };
  EXPECT_EQ(preview().value("repaired", -1), 0);
  tree[0]["children"][1]["children"][1]["index"] = 0;
  const nlohmann::json changes = preview();
  EXPECT_EQ(changes.value("repaired", -1), 1);
  EXPECT_EQ(changes["moved"], 0);
  EXPECT_EQ(changes["list"].size(), 0);
  EXPECT_GT(changes["steps"], 0);
}

TEST(BrowserSession, APreviewOfCleaningHasReasonsAndNewTitles) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kFirefox);
  (void)model.add(model.otherRoot(), "first", "bookmark", "https://example.org/1");
  (void)model.add(model.otherRoot(), "empty", "folder");
  (void)model.add(model.otherRoot(), "", "bookmark", "https://example.org/2");
  (void)model.add(model.otherRoot(), "same", "bookmark", "https://example.org/3");
  (void)model.add(model.otherRoot(), "same", "bookmark", "https://example.org/1");
  const auto replies = t.ask({{"type", "plan"}, {"task", "clean"}, {"preview", true}, {"tree", model.tree()}});
  const auto& entries = replies[0]["list"][0]["entries"];
  EXPECT_EQ(entries[0]["changes"][0],
            nlohmann::json({"removed", "duplicate", "same", nlohmann::json({"Root unfiled_____"})}));
  EXPECT_EQ(entries[1]["changes"][0], nlohmann::json({"removed", "empty"}));
  EXPECT_EQ(entries[2]["changes"][0], nlohmann::json({"named", "https://example.org/2"}));
  EXPECT_EQ(entries[3]["changes"][0], nlohmann::json({"renamed", "same 2"}));
  EXPECT_EQ(replies[0]["removed"], 2);
  EXPECT_EQ(replies[0]["renamed"], 2);
}

TEST(BrowserSession, RemovedEntriesGoIntoAFolderThatIsNeitherSortedNorCleaned) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kFirefox);
  for (const char* title : {"z", "y", "x"}) (void)model.add(model.otherRoot(), title, "bookmark", "https://same");
  EXPECT_EQ(t.run(model, "clean"), 3);
  const std::string folder = model.nodes()[model.otherRoot()].children.back();
  EXPECT_TRUE(isTitleOfRemoved(model.nodes()[folder].title));
  EXPECT_EQ(titlesIn(model, folder), "y z");
  t.reconnect();
  (void)model.add(folder, "a", "bookmark", "https://same");
  EXPECT_EQ(t.run(model, "clean"), 0);
  EXPECT_EQ(t.run(model, "sort"), 0);
  // A second cleaning on one day uses the same folder, and what follows it is sorted before it.
  (void)model.add(model.otherRoot(), "b", "bookmark", "https://same");
  EXPECT_EQ(t.run(model, "clean"), 1);
  EXPECT_EQ(titlesIn(model, folder), "y z a x");
  EXPECT_EQ(t.run(model, "sort"), 1);
  EXPECT_EQ(model.nodes()[model.otherRoot()].children.back(), folder);
}

TEST(BrowserSession, TheFolderOfRemovedEntriesIsNamedInTheLanguageOfThePageAndKnownInEveryOne) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kChromium);
  std::set<std::string> titles;
  for (const char* language : {"de", "en", "es", "fr", "ja", "sv", "unknown"}) {
    (void)model.add("2", std::string("b ") + language, "bookmark", "https://same");
    (void)model.add("2", std::string("a ") + language, "bookmark", "https://same");
    const auto replies = t.ask({{"type", "plan"}, {"task", "clean"}, {"language", language}, {"tree", model.tree()}});
    for (const auto& operation : replies.back()["list"]) EXPECT_TRUE(model.apply(operation)) << operation;
    for (const std::string& id : model.nodes()["2"].children) {
      if (model.nodes()[id].type == "folder") titles.insert(model.nodes()[id].title);
    }
    t.reconnect();
  }
  // An unknown language gets the English title, so that folder is used twice.
  EXPECT_EQ(titles.size(), 6);
  EXPECT_EQ(t.run(model, "clean"), 0);
  EXPECT_EQ(t.run(model, "sort"), 1);
  const auto& children = model.nodes()["2"].children;
  ASSERT_EQ(children.size(), 7);
  EXPECT_EQ(model.nodes()[children.front()].title, "a unknown");
}

TEST(BrowserSession, DuplicatesCountWithinOneRoot) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kChromium);
  (void)model.add("1", "a", "bookmark", "https://same");
  (void)model.add("2", "a", "bookmark", "https://same");
  EXPECT_EQ(t.run(model, "clean"), 0);
}

TEST(BrowserSession, ManagedRootsStayAsTheyAre) {
  SessionFixture t;
  BrowserModel model = unsorted();
  nlohmann::json tree = model.tree();
  nlohmann::json managed = tree[0]["children"][1];
  managed["id"] = "9";
  managed["unmodifiable"] = "managed";
  for (auto& child : managed["children"]) {
    child["id"] = "9" + child["id"].get<std::string>();
    child["unmodifiable"] = "managed";
  }
  tree[0]["children"].push_back(managed);
  const auto replies = t.ask({{"type", "plan"}, {"task", "sort"}, {"tree", tree}});
  ASSERT_EQ(replies[0]["list"].size(), 1);
  EXPECT_EQ(replies[0]["list"][0][2], "2");
}

TEST(BrowserSession, RemovedEntriesNeverGoIntoAManagedRoot) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kChromium);
  for (const char* title : {"a", "b"}) (void)model.add("2", title, "bookmark", "https://same");
  nlohmann::json tree = model.tree();
  tree[0]["children"].push_back(
      {{"id", "9"}, {"title", "M"}, {"unmodifiable", "managed"}, {"children", nlohmann::json::array()}});
  const auto replies = t.ask({{"type", "plan"}, {"task", "clean"}, {"tree", tree}});
  EXPECT_EQ(replies[0]["list"][0][0], "create");
  EXPECT_EQ(replies[0]["list"][0][2], "2");
}

TEST(BrowserSession, UndoLeavesFoldersThatWouldContainEachOther) {
  SessionFixture t;
  BrowserModel model = unsorted();
  (void)model.add("2", "again", "bookmark", "https://example.org/a");
  const std::string gone = model.add("2", "gone", "folder");
  const std::string outer = model.add(gone, "outer", "folder");
  const std::string inner = model.add(outer, "inner", "folder");
  (void)model.add(inner, "z", "bookmark", "https://z");
  EXPECT_GT(t.run(model, "clean"), 0);
  EXPECT_TRUE(model.move(inner, "2", 0) && model.move(outer, inner, 0));
  EXPECT_TRUE(model.apply({"remove", gone}));
  const std::size_t count = model.nodes().size();
  EXPECT_GT(t.run(model, "undo"), 0);
  // Without the folder of removed entries.
  EXPECT_EQ(model.nodes().size(), count - 1);
  EXPECT_EQ(model.nodes()[outer].parent, inner);
  EXPECT_EQ(titlesIn(model, inner), "outer z");
  EXPECT_EQ(t.plan(model, "undo").size(), 0);
}

TEST(BrowserSession, ARunThatChangesSomethingIsRecordedOnce) {
  SessionFixture t;
  BrowserModel model = unsorted();
  (void)t.plan(model, "sort");
  (void)t.plan(model, "sort");
  EXPECT_EQ(t.recordCount(), 1);
  EXPECT_EQ(t.run(model, "sort"), 1);
  EXPECT_EQ(t.recordCount(), 2);
  EXPECT_EQ(t.run(model, "sort"), 0);
  EXPECT_EQ(t.recordCount(), 2);
}

TEST(BrowserSession, WithoutARecordNoPlanIsSent) {
  SessionFixture t;
  t.memory.fileManager.failNext(FileOperation::kCreateFile, ENOSPC);
  EXPECT_EQ(t.plan(unsorted(), "sort"), "record");
}

TEST(BrowserSession, TheLastTenRunsCanBeUndone) {
  SessionFixture t;
  BrowserModel model = unsorted();
  EXPECT_EQ(t.run(model, "sort"), 1);
  std::vector<std::string> states;
  for (int i = 0; i < 12; ++i) {
    const std::string moved = model.nodes()["2"].children[static_cast<std::size_t>(i) % 2];
    EXPECT_TRUE(model.move(moved, "2", 2));
    states.push_back(titlesIn(model, "2"));
    t.reconnect();
    EXPECT_GT(t.run(model, "sort"), 0);
  }
  EXPECT_EQ(t.recordCount(), kMostRecords);
  for (std::size_t i = 0; i < kMostRecords; ++i) {
    (void)t.run(model, "undo");
    (void)t.ask({{"type", "done"}});
    EXPECT_EQ(titlesIn(model, "2"), states[states.size() - 1 - i]);
  }
  EXPECT_EQ(t.run(model, "undo"), 0);
  EXPECT_EQ(t.recordCount(), 0);
}

TEST(BrowserSession, AnUndoKeepsItsRecordUntilItIsDone) {
  SessionFixture t;
  BrowserModel model = unsorted();
  (void)t.run(model, "sort");
  (void)t.plan(model, "undo");
  EXPECT_EQ(t.recordCount(), 1);
  EXPECT_EQ(t.run(model, "undo"), 1);
  (void)t.ask({{"type", "done"}});
  EXPECT_EQ(t.recordCount(), 0);
  EXPECT_EQ(titlesIn(model, "2"), "c a b");
}

TEST(BrowserSession, AnUndoThatIsPlannedAgainNeverUndoesAnEarlierRun) {
  SessionFixture t;
  BrowserModel model = unsorted();
  EXPECT_EQ(t.run(model, "sort"), 1);
  const std::string second = model.nodes()["2"].children[1];
  EXPECT_TRUE(model.move(second, "2", 0));
  const std::string between = titlesIn(model, "2");
  t.reconnect();
  EXPECT_EQ(t.run(model, "sort"), 1);
  t.reconnect();
  EXPECT_EQ(t.run(model, "undo"), 1);
  // A concurrent change made the extension ask again.
  EXPECT_EQ(t.run(model, "undo"), 0);
  (void)t.ask({{"type", "done"}});
  EXPECT_EQ(titlesIn(model, "2"), between);
  EXPECT_EQ(t.recordCount(), 1);
}

TEST(BrowserSession, UndoOfASortKeepsTitlesAndFoldersThatTheUserChangedSince) {
  SessionFixture t;
  BrowserModel model = unsorted();
  const std::string folder = model.add("2", "d", "folder");
  (void)t.run(model, "sort");
  EXPECT_EQ(titlesIn(model, "2"), "d a b c");
  const std::string b = model.nodes()["2"].children[2];
  EXPECT_TRUE(model.move(b, folder, 0));
  model.nodes()[b].title = "renamed";
  EXPECT_GT(t.run(model, "undo"), 0);
  EXPECT_EQ(titlesIn(model, "2"), "c a d");
  EXPECT_EQ(titlesIn(model, folder), "renamed");
}

TEST(BrowserSession, RecordsOfAnotherProfileAreNeverUsed) {
  SessionFixture t;
  BrowserModel model = unsorted();
  (void)t.run(model, "sort");
  t.profile = "another";
  EXPECT_EQ(t.recordCount(), 0);
  EXPECT_EQ(t.run(model, "undo"), 0);
}

TEST(BrowserSession, ARecordCopiedFromAnotherProfileIsNotUsed) {
  SessionFixture t;
  BrowserModel model = unsorted();
  (void)t.run(model, "sort");
  const std::string own = t.memory.fileManager.filePaths().back();
  const std::string record = *t.memory.fileManager.bytesAt(own);
  t.profile = "another";
  t.reconnect();
  BrowserModel other = unsorted();
  (void)t.run(other, "sort");
  for (const std::string& path : t.memory.fileManager.filePaths()) {
    if (path != own) t.memory.fileManager.putFile(path, record);
  }
  t.reconnect();
  EXPECT_EQ(t.run(other, "undo"), 0);
}

TEST(BrowserSession, AnUndoWithADamagedRecordSaysSoOnceAndTheNextOneTakesBackTheRunBeforeIt) {
  SessionFixture t;
  BrowserModel model = unsorted();
  const std::string before = titlesIn(model, "2");
  (void)t.run(model, "sort");
  const std::string between = titlesIn(model, "2");
  const std::string first = t.memory.fileManager.filePaths().back();
  t.reconnect();
  const std::string moved = model.nodes().at("2").children.front();
  EXPECT_TRUE(model.move(moved, "2", 2));
  (void)t.run(model, "sort");
  const std::string newest = t.memory.fileManager.filePaths().back();
  ASSERT_NE(newest, first);
  t.memory.fileManager.putFile(newest, "bplist00 cut off");
  t.reconnect();
  EXPECT_EQ(t.plan(model, "undo"), "unreadable");
  EXPECT_EQ(titlesIn(model, "2"), between);
  EXPECT_EQ(t.memory.fileManager.bytesAt(newest + ".damaged"), "bplist00 cut off");
  EXPECT_EQ(t.recordCount(), 1);
  EXPECT_GT(t.run(model, "undo"), 0);
  EXPECT_EQ(titlesIn(model, "2"), before);
}

TEST(BrowserSession, ARecordThatCannotBeReadForNowStaysWhereItIs) {
  SessionFixture t;
  BrowserModel model = unsorted();
  (void)t.run(model, "sort");
  t.reconnect();
  t.memory.fileManager.failNext(FileOperation::kRead, EIO);
  EXPECT_EQ(t.plan(model, "undo"), "unreadable");
  EXPECT_GT(t.run(model, "undo"), 0);
}

TEST(BrowserSession, TheNameOfTheProfileIsNotInAnyPath) {
  SessionFixture t;
  t.profile = "../../elsewhere";
  t.reconnect();
  BrowserModel model = unsorted();
  (void)t.run(model, "sort");
  for (const std::string& path : t.memory.fileManager.filePaths()) {
    EXPECT_EQ(path.find("elsewhere"), std::string::npos) << path;
  }
}

TEST(BrowserSession, APlanOtherThanTheAgreedOneIsNotSent) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kChromium);
  (void)model.add("2", "a", "bookmark", "https://same");
  (void)model.add("2", "b", "bookmark", "https://same");
  const auto preview = t.ask({{"type", "plan"}, {"task", "clean"}, {"preview", true}, {"tree", model.tree()}});
  const std::string agreed = preview.back()["agreed"];
  EXPECT_EQ(t.plan(model, "clean", agreed).size(), 2);
  (void)model.add("2", "c", "bookmark", "https://same");
  EXPECT_EQ(t.plan(model, "clean", agreed), "changed");
}

TEST(BrowserSession, LongAnswersComeInPiecesOfAtMost256KiB) {
  SessionFixture t;
  BrowserModel model(BrowserFamily::kChromium);
  for (int i = 0; i < 9000; ++i) {
    (void)model.add("2", std::to_string(99999 - i) + std::string(80, '\x01'), "bookmark", "https://x");
  }
  EXPECT_EQ(t.plan(model, "sort").size(), 8999);
  EXPECT_GT(t.replies.size(), 1);
  const auto preview = t.ask({{"type", "plan"}, {"task", "clean"}, {"preview", true}, {"tree", model.tree()}});
  EXPECT_GT(preview.size(), 4);
  std::size_t entries = 0;
  for (const auto& reply : preview) {
    for (const auto& folder : reply["list"]) entries += folder["entries"].size();
  }
  EXPECT_EQ(entries, 8999);
  EXPECT_LE(t.longestReply, kLongestReply);
}

TEST(BrowserSession, OddTitlesComeBackUnchanged) {
  SessionFixture t;
  const auto titled = [](const std::string& title) {
    return R"({"type":"plan","task":"clean","tree":[{"children":[{"id":"2","title":"","children":[{"id":"7","title":")" +
           title + R"(","url":"b"}]}]}]})";
  };
  const std::string before = titled(R"(odd \ud800 \u0001 title)");
  // Recorded with an empty folder, so that there is something to clean up.
  std::string message = before;
  message.insert(message.rfind("]}]}]}"), R"(,{"id":"8","title":"a","children":[]})");
  EXPECT_EQ(t.askText(message).back()["list"].size(), 2);
  t.reconnect();
  std::string undo = titled("other");
  undo.replace(undo.find("\"clean\""), 7, "\"undo\"");
  t.replies.clear();
  std::string raw;
  t.session = std::make_unique<BrowserSession>(t.platform, t.preferences, "/records", [&raw](std::string_view reply) {
    raw = reply;
    return true;
  });
  std::string hello = R"({"type":"hello","protocol":1,"profile":"profile"})";
  EXPECT_TRUE(t.session->answer(hello));
  EXPECT_TRUE(t.session->answer(undo));
  EXPECT_NE(raw.find(R"(["retitle","7","odd \ud800 \u0001 title"])"), std::string::npos) << raw;
}

}  // namespace

}  // namespace tarvel

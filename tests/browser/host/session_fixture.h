#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "browser/host/session.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/plist/serialization.h"
#include "settings/preference_keys.h"
#include "tests/browser/host/browser_model.h"

namespace tarvel {

/// The host on a memory platform, with the messages of the extension.
struct SessionFixture {
  PlistSerialization serialization;
  MemoryPlatform memory{serialization};
  Platform platform = memory.platform();
  MemoryPreferencesStore preferences;
  std::vector<nlohmann::json> replies;
  std::size_t longestReply = 0;
  std::string profile = "profile";
  std::unique_ptr<BrowserSession> session = connect();

  /// A new connection, greeted.
  [[nodiscard]] std::unique_ptr<BrowserSession> connect() {
    auto made = std::make_unique<BrowserSession>(platform, preferences, "/records", [this](std::string_view reply) {
      longestReply = std::max(longestReply, reply.size());
      replies.push_back(nlohmann::json::parse(reply));
      return true;
    });
    std::string hello = nlohmann::json{{"type", "hello"}, {"protocol", kProtocolVersion}, {"profile", profile}}.dump();
    EXPECT_TRUE(made->answer(hello));
    return made;
  }
  void reconnect() { session = connect(); }

  /// Every reply to a message, until the next one.
  const std::vector<nlohmann::json>& ask(const nlohmann::json& message) { return askText(message.dump()); }
  const std::vector<nlohmann::json>& askText(std::string text) {
    replies.clear();
    (void)session->answer(text);
    return replies;
  }

  /// The operations of a plan, or the code of the error instead.
  nlohmann::json plan(const BrowserModel& model, const std::string& task, const std::string& agreed = {}) {
    nlohmann::json all = nlohmann::json::array();
    for (const auto& reply : ask({{"type", "plan"}, {"task", task}, {"agreed", agreed}, {"tree", model.tree()}})) {
      if (reply["type"] == "error") return reply["code"];
      all.insert(all.end(), reply["list"].begin(), reply["list"].end());
    }
    return all;
  }

  /// Plans and applies. Returns the number of operations; the test fails if the browser refuses one.
  std::size_t run(BrowserModel& model, const std::string& task) {
    const nlohmann::json operations = plan(model, task);
    if (!operations.is_array()) {
      ADD_FAILURE() << replies.back();
      return 0;
    }
    for (const auto& operation : operations) EXPECT_TRUE(model.apply(operation)) << operation << model.tree().dump(1);
    return operations.size();
  }

  [[nodiscard]] std::size_t recordCount() {
    reconnect();
    return replies.back()["runs"];
  }
};

}  // namespace tarvel

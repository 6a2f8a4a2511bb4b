#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "browser/host/plan.h"
#include "browser/host/request.h"
#include "browser/host/run_records.h"
#include "engine/tarvel.h"
#include "platform/platform.h"
#include "platform/preferences_store.h"

namespace tarvel {

/// The version of the protocol; docs/PROTOCOL.md describes it.
inline constexpr std::int64_t kProtocolVersion = 1;
/// The longest message to a browser: far below what browsers refuse.
inline constexpr std::size_t kLongestReply = std::size_t{256} << 10;

/// One connection of the extension: answers its messages. A connection carries one run.
class BrowserSession {
 public:
  /// Sends one message. False when the browser is gone.
  using Send = std::function<bool(std::string_view)>;

  /// `recordsFolder` holds the undo records of all profiles. Everything is borrowed.
  BrowserSession(const Platform& platform, PreferencesStore& preferences, std::string recordsFolder, Send send)
      : platform_(platform),
        preferences_(preferences),
        recordsFolder_(std::move(recordsFolder)),
        send_(std::move(send)) {}

  /// Answers one message. False when the connection is to end: the browser is gone, or what it says makes no sense.
  [[nodiscard]] bool answer(std::string& message);

 private:
  [[nodiscard]] bool sendError(std::string_view code, std::string_view text);
  [[nodiscard]] bool hello(const Request& request);
  [[nodiscard]] bool set(const Request& request);
  [[nodiscard]] bool plan(Request& request);
  [[nodiscard]] bool undo(const BrowserTree& tree);
  [[nodiscard]] bool done();
  [[nodiscard]] bool sendPieces(std::string_view type, const std::vector<std::string>& pieces,
                                const std::string& atTheEnd);
  [[nodiscard]] bool sendPlan(const BrowserTree& tree, const std::vector<Operation>& plan);
  void configure(Tarvel& tarvel);
  [[nodiscard]] std::string now();

  const Platform& platform_;
  PreferencesStore& preferences_;
  std::string recordsFolder_;
  Send send_;
  /// From the greeting on.
  std::optional<RunRecords> records_;
  /// Whether this connection's run has its record: a plan that is asked for again gets no second one.
  bool isRecorded_ = false;
  /// The record that is being undone; empty for none.
  std::string undoing_;
};

}  // namespace tarvel

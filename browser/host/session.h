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

/// The version of the protocol that docs/PROTOCOL.md describes.
inline constexpr std::int64_t kProtocolVersion = 1;
/// The longest message to a browser: far below the limit of 1 MiB.
inline constexpr std::size_t kLongestReply = std::size_t{256} << 10;

/// One connection of the extension: answers its messages. A connection is used for one run.
class BrowserSession {
 public:
  /// Sends one message. False if the browser has closed the connection.
  using Send = std::function<bool(std::string_view)>;

  /// `recordsFolder` holds the undo records of all profiles. Everything is borrowed.
  BrowserSession(const Platform& platform, PreferencesStore& preferences, std::string recordsFolder, Send send)
      : platform_(platform),
        preferences_(preferences),
        recordsFolder_(std::move(recordsFolder)),
        send_(std::move(send)) {}

  /// Answers one message. False if the connection must end: the browser has closed it, or the message was malformed.
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
  /// Set by the greeting.
  std::optional<RunRecords> records_;
  /// Whether this connection's run has its record: a repeated plan writes no second one.
  bool isRecorded_ = false;
  /// The record that this connection undoes; empty for none.
  std::string undoing_;
};

}  // namespace tarvel

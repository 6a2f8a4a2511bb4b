#include "platform/linux/log/linux_log_reader.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace tarvel {

namespace {

/// Whether the machine has a journal, readable or not: a folder for its machine ID in one of the two places.
bool keepsJournal() {
  for (const char* place : {"/run/log/journal", "/var/log/journal"}) {
    std::error_code error;
    if (!std::filesystem::is_empty(place, error) && !error) return true;
  }
  return false;
}

/// Adds an alternative whose matches must all hold.
bool addAlternative(sd_journal* journal, const std::string& match) {
  const std::string user = "_UID=" + std::to_string(::getuid());
  return sd_journal_add_match(journal, match.data(), match.size()) >= 0 &&
         sd_journal_add_match(journal, user.data(), user.size()) >= 0 && sd_journal_add_disjunction(journal) >= 0;
}

}  // namespace

LinuxLogReader::LinuxLogReader() {
  sd_journal* journal = nullptr;
  if (sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY) < 0) return;
  journal_.reset(journal);
  for (const char* match :
       {"SYSLOG_IDENTIFIER=TarvelHelper", "SYSLOG_IDENTIFIER=Tarvel", "USER_UNIT=TarvelHelper.service"}) {
    if (addAlternative(journal, match)) continue;
    journal_.reset();
    return;
  }
}

std::string LinuxLogReader::field(const char* name) {
  const void* data = nullptr;
  std::size_t size = 0;
  if (sd_journal_get_data(journal_.get(), name, &data, &size) < 0) return {};
  const std::string_view entry(static_cast<const char*>(data), size);
  // The entry starts with the field name and "=".
  return std::string(entry.substr(std::min(std::string_view(name).size() + 1, entry.size())));
}

LogRecord LinuxLogReader::current() {
  constexpr std::uint64_t kMicro = 1'000'000;
  std::uint64_t time = 0;
  (void)sd_journal_get_realtime_usec(journal_.get(), &time);
  return {{static_cast<std::int64_t>(time / kMicro), static_cast<std::uint32_t>(time % kMicro * 1000)},
          field("SYSLOG_IDENTIFIER"),
          field("MESSAGE")};
}

LogReading LinuxLogReader::last(std::size_t count) {
  const bool hasFiles = journal_ && (sd_journal_has_runtime_files(journal_.get()) > 0 ||
                                     sd_journal_has_persistent_files(journal_.get()) > 0);
  if (!hasFiles) return {keepsJournal() ? LogState::kUnreadable : LogState::kMissing, {}};
  LogReading reading{LogState::kReadable, {}};
  (void)sd_journal_seek_tail(journal_.get());
  const int found = sd_journal_previous_skip(journal_.get(), count);
  // Continue from the head: from the tail, only the last entry would be next.
  if (found == 0) (void)sd_journal_seek_head(journal_.get());
  for (int left = found; left > 0; --left) {
    reading.records.push_back(current());
    // The last entry stays current, so that reading continues after it.
    if (left > 1 && sd_journal_next(journal_.get()) <= 0) break;
  }
  return reading;
}

void LinuxLogReader::follow(const std::function<bool(const LogRecord&)>& receive) {
  while (journal_) {
    const int moved = sd_journal_next(journal_.get());
    if (moved < 0) return;
    if (moved > 0) {
      if (!receive(current())) return;
      continue;
    }
    const int waited = sd_journal_wait(journal_.get(), UINT64_MAX);
    if (waited < 0 && waited != -EINTR) return;
  }
}

}  // namespace tarvel

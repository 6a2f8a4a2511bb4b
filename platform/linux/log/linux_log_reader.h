#pragma once

#include <systemd/sd-journal.h>

#include <memory>
#include <string>

#include "platform/log_reader.h"

namespace tarvel {

/// Reads the journal; other logs are not supported.
class LinuxLogReader final : public LogReader {
 public:
  LinuxLogReader();

  [[nodiscard]] LogReading last(std::size_t count) override;
  void follow(const std::function<bool(const LogRecord&)>& receive) override;

 private:
  struct Closer {
    void operator()(sd_journal* journal) const { sd_journal_close(journal); }
  };

  [[nodiscard]] LogRecord current();
  [[nodiscard]] std::string field(const char* name);

  std::unique_ptr<sd_journal, Closer> journal_;
};

}  // namespace tarvel

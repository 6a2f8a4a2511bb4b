#pragma once

#include <sys/types.h>

#include "platform/linux/base/unique_fd.h"

namespace tarvel {

/// Sends standard output through a pager, for as long as it lives. The pager is $PAGER, else less, which shows colours,
/// ends at once when everything fits on the screen, and leaves it on the screen (-FRX). Where PAGER is empty or no
/// pager can be started, output goes to the terminal as before. A pager that is closed early is not an error: what was
/// not read is dropped.
class Pager {
 public:
  Pager();
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

 private:
  using Handler = void (*)(int);

  UniqueFd terminal_;
  pid_t process_ = 0;
  Handler pipeHandler_ = nullptr;
  Handler interruptHandler_ = nullptr;
};

}  // namespace tarvel

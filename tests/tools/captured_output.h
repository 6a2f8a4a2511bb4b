#pragma once

#include <iostream>
#include <sstream>

namespace tarvel {

/// What a command writes while this lives.
class Captured {
 public:
  Captured() : out_(std::cout.rdbuf(output.rdbuf())), err_(std::cerr.rdbuf(errors.rdbuf())) {}
  ~Captured() {
    std::cout.rdbuf(out_);
    std::cerr.rdbuf(err_);
  }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  std::ostringstream output;
  std::ostringstream errors;

 private:
  std::streambuf* out_;
  std::streambuf* err_;
};

}  // namespace tarvel

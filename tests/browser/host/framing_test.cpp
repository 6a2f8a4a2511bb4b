#include "browser/host/framing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include <thread>

namespace tarvel {

namespace {

struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(ends), 0); }
  ~Pipe() {
    ::close(ends[0]);
    closeInput();
  }
  void closeInput() {
    if (ends[1] >= 0) ::close(ends[1]);
    ends[1] = -1;
  }
  void write(std::string_view bytes) const {
    EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  int ends[2] = {-1, -1};
};

TEST(Framing, AMessageIsReadAsWritten) {
  Pipe pipe;
  const std::string message(5'000'000, 'x');
  std::thread writer([&] { EXPECT_TRUE(writeFrame(pipe.ends[1], message) && writeFrame(pipe.ends[1], "")); });
  const Frame frame = readFrame(pipe.ends[0]);
  EXPECT_EQ(frame.status, FrameStatus::kMessage);
  EXPECT_EQ(frame.bytes, message);
  EXPECT_EQ(readFrame(pipe.ends[0]).status, FrameStatus::kMessage);
  writer.join();
}

TEST(Framing, TheEndOfInputDiffersFromATruncatedMessage) {
  Pipe ended;
  ended.closeInput();
  EXPECT_EQ(readFrame(ended.ends[0]).status, FrameStatus::kEnd);
  Pipe inLength;
  inLength.write(std::string_view("\x05\x00", 2));
  inLength.closeInput();
  EXPECT_EQ(readFrame(inLength.ends[0]).status, FrameStatus::kCutOff);
  Pipe inMessage;
  inMessage.write(std::string_view("\x05\x00\x00\x00{}", 6));
  inMessage.closeInput();
  EXPECT_EQ(readFrame(inMessage.ends[0]).status, FrameStatus::kCutOff);
}

TEST(Framing, ALengthAboveTheLimitIsRefusedAndALengthAloneAllocatesNothing) {
  Pipe tooLarge;
  tooLarge.write(std::string_view("\x01\x00\x00\x04", 4));
  EXPECT_EQ(readFrame(tooLarge.ends[0]).status, FrameStatus::kTooLarge);
  Pipe announced;
  announced.write(std::string_view("\x00\x00\x00\x04{}", 6));
  announced.closeInput();
  EXPECT_EQ(readFrame(announced.ends[0]).status, FrameStatus::kCutOff);
}

TEST(Framing, WritingToAClosedConnectionFails) {
  Pipe pipe;
  ::close(pipe.ends[0]);
  pipe.ends[0] = ::dup(pipe.ends[1]);
  (void)::signal(SIGPIPE, SIG_IGN);
  EXPECT_FALSE(writeFrame(pipe.ends[1], "{}"));
}

}  // namespace

}  // namespace tarvel

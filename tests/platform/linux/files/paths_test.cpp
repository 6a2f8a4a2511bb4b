#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/vectors.h"

namespace tarvel {
namespace {

TEST(Paths, TildesExpandAsInTheOriginal) {
  const auto vectors = vectorFile("strings.json")["expanding_tilde"];
  const auto homeOf = [&](const std::string& user) {
    if (user.empty()) return vectors["home"].get<std::string>();
    return vectors["users"].value(user, "");
  };
  ASSERT_FALSE(vectors["cases"].empty());
  for (const auto& item : vectors["cases"]) EXPECT_EQ(expandTilde(item["s"], homeOf), item["result"]) << item;
}

TEST(Paths, HomeComesFromTheEnvironmentThenFromThePasswordDatabase) {
  const char* home = std::getenv("HOME");
  const std::string kept = home == nullptr ? "" : home;
  LinuxFileManager manager;
  ASSERT_EQ(::setenv("HOME", "/somewhere", 1), 0);
  EXPECT_EQ(manager.stringByExpandingTildeInPath("~/x"), "/somewhere/x");
  ASSERT_EQ(::unsetenv("HOME"), 0);
  const std::string fromDatabase = manager.stringByExpandingTildeInPath("~");
  EXPECT_EQ(fromDatabase.front(), '/');
  EXPECT_NE(fromDatabase, "/somewhere");
  EXPECT_EQ(manager.stringByExpandingTildeInPath("~root/x"), "/root/x");
  if (home != nullptr) {
    ASSERT_EQ(::setenv("HOME", kept.c_str(), 1), 0);
  }
}

}  // namespace
}  // namespace tarvel

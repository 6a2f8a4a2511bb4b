#include "update_check/version.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarvel {
namespace {

TEST(Version, EachOfTheseIsNewerThanTheOneBefore) {
  const std::vector<std::string> ageing = {"b",
                                           "0",
                                           "0.9",
                                           "1.0a",
                                           "1.0b1",
                                           "1.0b2",
                                           "1.0b10",
                                           "1.0rc",
                                           "1.0",
                                           "1.0.",
                                           "1.0.0",
                                           "1.0.1",
                                           "1.1",
                                           "1.9",
                                           "1.10",
                                           "2",
                                           "2.0",
                                           "10",
                                           "99999999999999999999999",
                                           "100000000000000000000000"};
  for (std::size_t i = 0; i < ageing.size(); ++i) {
    for (std::size_t j = 0; j < ageing.size(); ++j) {
      EXPECT_EQ(compareVersions(ageing[i], ageing[j]) < 0, i < j) << ageing[i] << " and " << ageing[j];
      EXPECT_EQ(compareVersions(ageing[i], ageing[j]) > 0, i > j) << ageing[i] << " and " << ageing[j];
    }
  }
}

TEST(Version, LeadingZerosMeanNothing) {
  EXPECT_EQ(compareVersions("1.02", "1.2"), std::strong_ordering::equal);
  EXPECT_EQ(compareVersions("0", "000"), std::strong_ordering::equal);
}

TEST(Version, AnyNumberIsNewerThanAnEmptyVersion) {
  EXPECT_EQ(compareVersions("1.0", ""), std::strong_ordering::greater);
  EXPECT_EQ(compareVersions("", "1.0"), std::strong_ordering::less);
  EXPECT_EQ(compareVersions("", ""), std::strong_ordering::equal);
}

}  // namespace
}  // namespace tarvel

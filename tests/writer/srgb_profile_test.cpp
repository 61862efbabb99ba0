#include <gtest/gtest.h>

#include <string>

#include "test_support.h"
#include "writer/srgb_profile.h"

namespace {

TEST(SrgbProfile, IsTheSrgbDisplayProfile) {
  auto icc = SrgbProfile();
  ASSERT_EQ(icc.size(), 3144u);
  auto text = [&](size_t at) { return std::string(reinterpret_cast<const char*>(icc.data()) + at, 4); };
  EXPECT_EQ(icc[0] << 24 | icc[1] << 16 | icc[2] << 8 | icc[3], 3144);  // the header's own size
  EXPECT_EQ(text(4), "Lino");
  EXPECT_EQ(text(12), "mntr");
  EXPECT_EQ(text(16), "RGB ");
  EXPECT_EQ(text(20), "XYZ ");
  EXPECT_EQ(text(36), "acsp");

  auto shared = snk::test::SharedDir();
  if (shared.empty()) GTEST_SKIP() << "the shared reference data is not present";
  std::string reference = snk::test::ReadFile(shared / "data" / "sRGB-IEC61966-2.1.icc");
  EXPECT_EQ(reference, std::string(reinterpret_cast<const char*>(icc.data()), icc.size()));
}

}  // namespace

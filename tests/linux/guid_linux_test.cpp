// Tests of the Linux random source behind Guid::Generate: interrupted and
// short getrandom calls, the /dev/urandom fallback when the call is missing,
// and an identifier left alone when no source is available. The byte order
// of Generate is checked on known bytes from a fake device.
#include <errno.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "common/utils/guid.h"
#include "common/utils/linux/guid_linux.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::Guid;

// Restores the real random source at the end of each test.
class GuidLinuxTest : public ::testing::Test {
 protected:
  void TearDown() override { tavrin::platform::SetRandomSourceForTesting(nullptr, nullptr); }
};

int g_calls = 0;
int g_interruptions = 0;
std::size_t g_chunk = 0;
unsigned char g_next = 0;

// Fails with EINTR `g_interruptions` times, then hands out at most `g_chunk`
// bytes per call counting up from g_next.
long FakeGetRandom(void* buffer, std::size_t size, unsigned int flags) {
  ++g_calls;
  if (flags != 0) {
    errno = EINVAL;
    return -1;
  }
  if (g_interruptions > 0) {
    --g_interruptions;
    errno = EINTR;
    return -1;
  }
  const std::size_t n = g_chunk != 0 && g_chunk < size ? g_chunk : size;
  auto* out = static_cast<unsigned char*>(buffer);
  for (std::size_t i = 0; i < n; ++i) out[i] = g_next++;
  return static_cast<long>(n);
}

long MissingGetRandom(void*, std::size_t, unsigned int) {
  ++g_calls;
  errno = ENOSYS;
  return -1;
}

long FailingGetRandom(void*, std::size_t, unsigned int) {
  ++g_calls;
  errno = EFAULT;
  return -1;
}

void ResetFake(int interruptions, std::size_t chunk) {
  g_calls = 0;
  g_interruptions = interruptions;
  g_chunk = chunk;
  g_next = 0;
}

// The identifier Generate makes of the bytes 0, 1, ..., 15: version and
// variant bits set in bytes 6 and 8, then each field read little-endian.
Guid FromCountingBytes() {
  Guid g;
  g.Data1 = 0x03020100;
  g.Data2 = 0x0504;
  g.Data3 = 0x0746;                                              // byte 6 = 0x06 -> 0x46
  const std::uint8_t d4[8] = {0x88, 9, 10, 11, 12, 13, 14, 15};  // byte 8 = 0x08 -> 0x88
  std::memcpy(g.Data4, d4, 8);
  return g;
}

TEST_F(GuidLinuxTest, GenerateCopiesBytesInOrder) {
  ResetFake(0, 0);
  tavrin::platform::SetRandomSourceForTesting(&FakeGetRandom, nullptr);
  Guid g;
  g.Generate();
  EXPECT_EQ(g, FromCountingBytes());
  EXPECT_EQ(g.ToStdString(), "03020100-0504-0746-8809-0a0b0c0d0e0f");
  EXPECT_EQ(g_calls, 1);
}

TEST_F(GuidLinuxTest, InterruptedCallsAreRetried) {
  ResetFake(3, 0);
  tavrin::platform::SetRandomSourceForTesting(&FakeGetRandom, nullptr);
  Guid g;
  g.Generate();
  EXPECT_EQ(g, FromCountingBytes());
  EXPECT_EQ(g_calls, 4);
}

TEST_F(GuidLinuxTest, ShortResultsContinueWhereTheyStopped) {
  ResetFake(1, 5);
  tavrin::platform::SetRandomSourceForTesting(&FakeGetRandom, nullptr);
  Guid g;
  g.Generate();
  EXPECT_EQ(g, FromCountingBytes());
  EXPECT_EQ(g_calls, 1 + 4);  // one EINTR, then 5 + 5 + 5 + 1 bytes
}

TEST_F(GuidLinuxTest, MissingCallFallsBackToTheDevice) {
  const std::string device = tavrin::test::FreshDir("random") + "/device";
  std::string bytes;
  for (int i = 0; i < 16; ++i) bytes.push_back(static_cast<char>(i));
  ASSERT_TRUE(tavrin::test::WriteFile(device, bytes));
  g_calls = 0;
  tavrin::platform::SetRandomSourceForTesting(&MissingGetRandom, device.c_str());
  Guid g;
  g.Generate();
  EXPECT_EQ(g, FromCountingBytes());
  EXPECT_EQ(g_calls, 1);
}

TEST_F(GuidLinuxTest, ShortDeviceLeavesTheIdentifierUnchanged) {
  const std::string device = tavrin::test::FreshDir("random") + "/short";
  ASSERT_TRUE(tavrin::test::WriteFile(device, std::string(15, 'x')));
  tavrin::platform::SetRandomSourceForTesting(&MissingGetRandom, device.c_str());
  Guid g;
  g.Data1 = 42;
  const Guid before = g;
  g.Generate();
  EXPECT_EQ(g, before);
}

TEST_F(GuidLinuxTest, NoSourceLeavesTheIdentifierUnchanged) {
  const std::string missing = tavrin::test::FreshDir("random") + "/none";
  tavrin::platform::SetRandomSourceForTesting(&MissingGetRandom, missing.c_str());
  Guid g;
  g.Data2 = 7;
  const Guid before = g;
  g.Generate();
  EXPECT_EQ(g, before);
}

TEST_F(GuidLinuxTest, OtherErrorsFailWithoutFallback) {
  const std::string device = tavrin::test::FreshDir("random") + "/device";
  ASSERT_TRUE(tavrin::test::WriteFile(device, std::string(16, '\x01')));
  g_calls = 0;
  tavrin::platform::SetRandomSourceForTesting(&FailingGetRandom, device.c_str());
  Guid g;
  g.Generate();
  EXPECT_TRUE(g.IsNull());
  EXPECT_EQ(g_calls, 1);
}

TEST_F(GuidLinuxTest, RestoredSourceIsTheSystemCall) {
  ResetFake(0, 0);
  tavrin::platform::SetRandomSourceForTesting(&FakeGetRandom, nullptr);
  tavrin::platform::SetRandomSourceForTesting(nullptr, nullptr);
  Guid a, b;
  a.Generate();
  b.Generate();
  EXPECT_EQ(g_calls, 0);
  EXPECT_FALSE(a.IsNull());
  EXPECT_NE(a, b);
}

}  // namespace

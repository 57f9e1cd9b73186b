// The conversation a model names: konib's own keys, what the command line
// overrides, and what `konib check` says of a bad value.
#include "device/device.h"

#include <gtest/gtest.h>

#include <string>

namespace konib::tool {
namespace {

TEST(Conversation, ModelKeysAndTheirOverrides) {
  struct Case {
    const char* keys;  // model lines behind the section
    const char* flow;  // --flow, "" when not given
    long buffer;       // --receive-buffer, 0 when not given
    double timeout;    // --timeout, below 0 when not given
    bool taken;
    const char* wantFlow;
    std::size_t wantBuffer;
    double wantTimeout;
  } cases[] = {
      {"", "", 0, -1, true, "xonxoff", 128, 30},
      {"Konib.Flow=ack\r\nKonib.ReceiveBuffer=256\r\nKonib.Timeout=2.5\r\n", "", 0, -1, true, "ack",
       256, 2.5},
      {"KONIB.FLOW=query\r\n", "", 0, -1, true, "query", 128, 30},
      {"Konib.Flow=ack\r\nKonib.ReceiveBuffer=256\r\nKonib.Timeout=60\r\n", "none", 64, 0, true,
       "none", 64, 0},
      {"Konib.Flow=ok-count\r\n", "", 0, -1, false, "", 0, 0},
      {"Konib.Flow=ok-count\r\n", "ack", 0, -1, false, "", 0, 0},  // a bad model stays bad
      {"Konib.ReceiveBuffer=0\r\n", "", 0, -1, false, "", 0, 0},
      {"Konib.ReceiveBuffer=12.5\r\n", "", 0, -1, false, "", 0, 0},
      {"Konib.Timeout=-1\r\n", "", 0, -1, false, "", 0, 0},
      {"Konib.Timeout=5s\r\n", "", 0, -1, false, "", 0, 0},
  };
  for (const Case& c : cases) {
    std::string text = std::string("[M]\r\nCommand.Line=L\r\n") + c.keys;
    ModelList model;
    model.list =
        NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, "M");
    ASSERT_NE(model.list, nullptr);
    Destination to;
    std::string message;
    EXPECT_EQ(TakeConversation(model, c.flow, c.buffer, c.timeout, &to, &message), c.taken)
        << c.keys;
    if (!c.taken) {
      EXPECT_NE(message.find("the model's Konib."), std::string::npos) << message;
      continue;
    }
    EXPECT_EQ(to.flow, c.wantFlow) << c.keys;
    EXPECT_EQ(to.receiveBuffer, c.wantBuffer) << c.keys;
    EXPECT_EQ(to.timeout, c.wantTimeout) << c.keys;
  }
}

TEST(Conversation, CheckedValues) {
  const struct {
    const char* name;
    const char* value;
    const char* problem;
  } cases[] = {
      {"Konib.Flow", "rtscts", ""},
      {"konib.flow", "XONXOFF", "\"XONXOFF\" is not one of none, xonxoff, rtscts, ack, query"},
      {"Konib.ReceiveBuffer", "1048576", ""},
      {"Konib.ReceiveBuffer", "1048577",
       "\"1048577\" is not a whole number of bytes from 1 to 1048576"},
      {"Konib.Timeout", "0", ""},
      {"Konib.Timeout", "", "\"\" is not a number of seconds from 0 (no limit) to 86400"},
      {"Konib.Speed", "1", ""},  // no key of this concern: nothing to say
  };
  for (const auto& c : cases)
    EXPECT_EQ(CheckConversationValue(c.name, c.value), c.problem) << c.name;
  EXPECT_TRUE(IsConversationKey("KONIB.TIMEOUT"));
  EXPECT_FALSE(IsConversationKey("Konib.Speed"));
}

}  // namespace
}  // namespace konib::tool

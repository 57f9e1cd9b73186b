#include "model/model_text.h"

#include <gtest/gtest.h>

#include <cstring>

#include <string>
#include <vector>

#include "model/reg_data.h"
#include "platform/memory.h"

namespace konib {
namespace {

// Model texts are measured in unsigned long, 32 bits on Windows.
unsigned long Size(const std::string& text) { return static_cast<unsigned long>(text.size()); }

using Records = std::vector<std::pair<std::string, std::string>>;

Records Walk(const _NibREG_DATA* list) {
  Records out;
  for (; list != nullptr; list = list->next) {
    // Records are packed: their fields are read into aligned copies.
    const std::uint32_t type = list->type;
    const std::size_t length = list->length;
    EXPECT_EQ(type, 1u);
    EXPECT_EQ(length, std::strlen(reinterpret_cast<const char*>(list->data)) + 1);
    out.emplace_back(list->name, reinterpret_cast<const char*>(list->data));
  }
  return out;
}

Records Section(const std::string& text, const char* name) {
  _NibREG_DATA* list = ReadTextSection(text.data(), name, text.size());
  Records out = Walk(list);
  NibFreeRegistry2(list);
  return out;
}

TEST(ModelText, LinesNamesAndValues) {
  const std::string text =
      "; a comment line\r\n[Plotter]\r\nStep=0.025\r\nStep =x\r\nnothing here\r\nA=b[c]=d\r\n"
      "Pen=1\r\nPen=2\r\n[Next]\r\nX=1\r\n";
  EXPECT_EQ(Section(text, "plotter"), (Records{{"Step", "0.025"}, {"Step ", "x"}, {"A", "b[c]=d"},
                                               {"Pen", "1"}, {"Pen", "2"}}));
  EXPECT_EQ(Section(text, "NEXT"), (Records{{"X", "1"}}));
  EXPECT_EQ(Section(text, "Missing"), Records{});
  EXPECT_EQ(Section(text, "Plot"), Records{});  // names are compared whole
}

TEST(ModelText, EndsOfText) {
  EXPECT_EQ(Section("[S]\r\nA=1\r\nB=2", "S"), (Records{{"A", "1"}, {"B", "2"}}));
  EXPECT_EQ(Section("[S]\r\nA=1\r\nB=2\r", "S"), (Records{{"A", "1"}, {"B", "2\r"}}));
  EXPECT_EQ(Section(std::string("[S]\r\nA=1\r\n\x1A" "B=2\r\n", 16), "S"), (Records{{"A", "1"}}));
  EXPECT_EQ(Section(std::string("[S]\r\nA=1\x1A" "2\r\n", 11), "S"), (Records{{"A", "1"}}));
  EXPECT_EQ(Section("A=1\r\n[S]", "S"), Records{});     // a head as the very last bytes
  EXPECT_EQ(Section("[S]\r\n", "S"), Records{});        // no value line
  EXPECT_EQ(Section("[S]\r\nA=1\rB=2\nC=3\r\n", "S"), (Records{{"A", "1\rB=2\nC=3"}}));
}

TEST(ModelText, BracketsInsideValuesStartNoSection) {
  const std::string text = "[A]\r\nX=[B]\r\n[B]\r\nY=2\r\n[A]\r\nZ=3\r\n";
  EXPECT_EQ(Section(text, "A"), (Records{{"X", "[B]"}}));  // only the first section of a name
  EXPECT_EQ(Section(text, "B"), (Records{{"Y", "2"}}));
}

TEST(EnumTextValue, OneValueByIndex) {
  const std::string text = "[S]\r\nName=Value text\r\nSecond=2\r\n[T]\r\nThird=3\r\n";
  const char* end = text.data() + text.size();
  const char* body = FindSection(text.data(), end, "s");
  ASSERT_NE(body, nullptr);
  char name[8];
  char data[6];
  std::uint32_t nameSize = sizeof name, dataSize = sizeof data, type = 0;
  ASSERT_EQ(EnumTextValue(body, end, 0, name, &nameSize, &type, data, &dataSize), 0);
  EXPECT_STREQ(name, "Name");
  EXPECT_EQ(nameSize, 4u);
  EXPECT_STREQ(data, "Value");  // cut to the buffer; the size tells the whole
  EXPECT_EQ(dataSize, 11u);
  EXPECT_EQ(type, 1u);
  nameSize = sizeof name;
  dataSize = 0;
  ASSERT_EQ(EnumTextValue(body, end, 1, name, &nameSize, nullptr, nullptr, &dataSize), 0);
  EXPECT_EQ(dataSize, 2u);
  nameSize = sizeof name;
  EXPECT_EQ(EnumTextValue(body, end, 2, name, &nameSize, &type, nullptr, &dataSize), 1);
}

TEST(GetRegistry2, MergesTheCommandSet) {
  const std::string models =
      "[Model]\r\nCommand=Lang\r\nstep=0.1\r\ncommand.init=MINE\r\n"
      "[Lang]\r\nCommand.Init=IN;\r\nCommand.Move=PU\\x1,\\y1;\r\nStep=1\r\n";
  _NibREG_DATA* list = NibGetRegistry2(models.data(), Size(models), nullptr, 0, "model");
  EXPECT_EQ(Walk(list), (Records{{"Command.Move", "PU\\x1,\\y1;"},
                                 {"Command", "Lang"},
                                 {"step", "0.1"},
                                 {"command.init", "MINE"}}));
  NibFreeRegistry(list);
  const std::string commands = "[lang]\r\nCommand.Home=H;\r\n";
  list = NibGetRegistry2(models.data(), Size(models), commands.data(), Size(commands), "Model");
  EXPECT_EQ(Walk(list).front(), (std::pair<std::string, std::string>{"Command.Home", "H;"}));
  NibFreeRegistry(list);
  const std::string orphan = "[Model]\r\nCommand=Gone\r\nStep=1\r\n";
  EXPECT_EQ(NibGetRegistry2(orphan.data(), Size(orphan), nullptr, 0, "Model"), nullptr);
  EXPECT_EQ(NibGetRegistry2(nullptr, 5, nullptr, 0, "Model"), nullptr);
  EXPECT_EQ(NibGetRegistry2(orphan.data(), 0, nullptr, 0, "Model"), nullptr);
}

TEST(GetRegistry2, OneBlockWithPackedRecords) {
  const std::string text = "[M]\r\nA=\r\nBB=xyz\r\n";
  _NibREG_DATA* list = NibGetRegistry2(text.data(), Size(text), nullptr, 0, "M");
  ASSERT_NE(list, nullptr);
  const std::uint32_t length = list->length;
  EXPECT_EQ(length, 1u);  // an empty value is its terminator
  auto* second = reinterpret_cast<_NibREG_DATA*>(reinterpret_cast<char*>(list) + kRecordHead + 1);
  _NibREG_DATA* next = list->next;
  _NibREG_DATA* last = second->next;
  EXPECT_EQ(next, second);
  EXPECT_EQ(last, nullptr);
  NibFreeRegistry2(list);
  NibFreeRegistry2(nullptr);
}

TEST(GetRegistry2, EveryOutOfMemoryPointGivesNull) {
  const std::string text = "[M]\r\nCommand=C\r\nA=1\r\n[C]\r\nB=2\r\n";
  for (unsigned long n = 1;; ++n) {
    platform::FailAllocationAt(n);
    _NibREG_DATA* list = NibGetRegistry2(text.data(), Size(text), nullptr, 0, "M");
    platform::FailAllocationAt(0);
    if (list != nullptr) {
      EXPECT_EQ(Walk(list).size(), 3u);
      NibFreeRegistry2(list);
      EXPECT_EQ(n, 4u);  // machine, command, merged: the fourth try succeeds
      break;
    }
    ASSERT_LT(n, 10u);
  }
}

}  // namespace
}  // namespace konib

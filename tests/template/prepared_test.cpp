// Prepared templates must send what the ordinary walker sends for the same
// text, byte for byte, in both modes of output, and notice a new text.
#include "template/prepared.h"

#include <gtest/gtest.h>

#include <string>

#include "core/output.h"
#include "platform/text.h"
#include "support/model_handle.h"

namespace konib {
namespace {

constexpr PreparedName::Kind kStep = PreparedName::kStepNumber;

const PreparedName kNames[] = {{"x1", kStep},
                               {"y1", kStep},
                               {"x10", kStep},
                               {"a1", PreparedName::kUnitNumber},
                               {"mv", PreparedName::kAction}};

// An action as the arc's move is one: it knows its own letters.
std::size_t Mark(NibHandle* h, const char* text, const void*) {
  if (platform::ToUpper(text[0]) != 'M' || platform::ToUpper(text[1]) != 'V') return 0;
  EmitBytes(h, "<mv>", 4);
  return 2;
}

struct Walks {
  test::ModelHandle plotter;
  PreparedTemplate prepared{};
  explicit Walks(bool buffered)
      : plotter({{"Step", "0.025"},
                 {"Decimal", "0"},
                 {"PenTbl", "0,SP\\p0;"},
                 {"Paper", "A,1"},
                 {"Paper.1", "A,400,277,PA"}},
                400, 277, buffered) {}
  // The bytes of `text` walked with `values`, prepared or not.
  std::string Walk(const char* text, bool prepare, const double (&values)[5], bool flush = true) {
    const PreparedCall call{values, Mark, nullptr, nullptr, nullptr};
    NibHandle* h = plotter.h();
    h->devicePen = 2;
    if (prepare) {
      WalkCommand(h, &prepared, text, kNames, 5, call);
    } else {
      WalkUnprepared(h, text, kNames, 5, call);
    }
    if (!flush) return std::string();
    FlushOutput(h);
    return plotter.Take();
  }
};

// Twenty numbers: more steps than a prepared template holds.
constexpr char kLong[] =
    "\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,\\x1,"
    "\\x1,\\x1";

TEST(PreparedTemplate, SendsWhatTheWalkerSends) {
  const char* const texts[] = {
      "PU\\x1,\\y1;",
      "\\X1\\x10\\(x1,06.1)\\(-y1,*6.0)\\(x1,0,+5s)\\(y1,,%7)\\(a1,2)\\a1",
      "\\$1B\\n\\zz\\\\\\,\\(\\$G1;\\(x1,6.1\\",
      "\\pn|\\p0|\\ls|\\sx|\\(py,0)|\\pp|\\e1|\\[nothing.Fn]|\\mv|\\MV",
      "\x81\\x1\x81\\",
      "",
      "\\x1,\\y1,\\-a1;",  // runs and whole numbers: one sweep
      // Walked the ordinary way.
      kLong,
  };
  const double values[][5] = {{10.0, 20.0, -3.3, 45.5, 0.0},
                              {-0.0125, 1e300, 0.3125, -1e-9, 0.0},
                              {1e17, -2.5e15, 7.0, 359.9999, 0.0},
                              // From 2^51 on the sweep leaves numbers to the
                              // walker's writer; ties of halves below 2^52.
                              {1.2e14, -6e13, 0.0, 2251799813685248.5, 0.0},
                              {-5.7e13, 5.6e13, 0.0, -2251799813685249.5, 0.0}};
  for (bool buffered : {false, true}) {
    Walks walks(buffered);
    for (const char* text : texts) {
      for (const auto& v : values) {
        const std::string ordinary = walks.Walk(text, false, v);
        EXPECT_EQ(walks.Walk(text, true, v), ordinary)
            << text << (buffered ? " buffered" : " byte-wise");
      }
    }
    EXPECT_FALSE(walks.prepared.usable);  // the last text did not fit
  }
}

TEST(PreparedTemplate, ExactBytesAndANewTextIsPreparedAnew) {
  Walks walks(true);
  const double values[5] = {10.0, -20.0, 0.0, 90.0, 0.0};
  const std::string first = "PU\\x1,\\y1;";
  EXPECT_EQ(walks.Walk(first.c_str(), true, values), "PU400,-800;");
  EXPECT_TRUE(walks.prepared.usable);
  const std::string second = "\\a1|\\(x1,6.1)|\\mv";  // another text at another place
  EXPECT_EQ(walks.Walk(second.c_str(), true, values), "90|   400.0|<mv>");
  EXPECT_EQ(walks.prepared.source, second.c_str());
}

// Bytes written straight into the buffer keep the blocks of 16384 bytes.
TEST(PreparedTemplate, FillsTheBufferToItsEdge) {
  Walks walks(true);
  const double values[5] = {12345.678, 1.0, 0.0, 0.0, 0.0};
  for (int i = 0; i < 3000; ++i) walks.Walk("PD\\x1,\\y1;", true, values, false);
  for (std::uint32_t block : walks.plotter.device.blocks) EXPECT_EQ(block, 16384u);
  EXPECT_EQ(walks.plotter.device.blocks.size(), 2u);
  EXPECT_EQ(walks.plotter.device.bytes.substr(0, 30), "PD493827,40;PD493827,40;PD4938");
}

}  // namespace
}  // namespace konib

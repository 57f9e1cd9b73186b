// The demo's whole job through every bundled model, with a device that
// refuses its n-th byte (byte-wise output) or its n-th block (buffered
// output), for n from the first to the last: the call that met the refusal
// and every call after it return 0, no callback is called after it, and the
// device holds exactly the first n-1 bytes or blocks of the job.
//
// Between the first and the last 100, n steps by a stride (odd, so that it
// falls on every kind of byte), chosen so that each model takes about 500
// runs. KONIB_REFUSAL_STRIDE=1 in the environment tries every n.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "KoNib.h"
#include "demo_sheet.h"

namespace {

struct Model {
  const char* file;
  const char* section;
};

const Model kModels[] = {
    {"hpgl.ini", "HP-GL A3 Pen Plotter"},          {"hpgl2.ini", "HP-GL/2 A1 Roll Plotter"},
    {"dxygl.ini", "DXY-GL A3 Pen Plotter"},        {"svg.ini", "SVG Virtual Plotter"},
    {"digitizer.ini", "HP-GL Digitizing Plotter"},
};

enum class Path { kPut, kWrite };

void PrintTo(const Model& model, std::ostream* out) { *out << model.file; }
void PrintTo(Path path, std::ostream* out) { *out << (path == Path::kPut ? "byte" : "block"); }

// Refuses the callback numbered `refuseAt` (0-based) of its path; any
// callback after that is counted as a fault. Without a `reference` it keeps
// what arrives; with one it compares each byte and block with the
// reference's as it arrives, and keeps only where they first differ.
struct RefusingDevice {
  const demo::SheetJob* job = nullptr;  // whose call is running
  const RefusingDevice* reference = nullptr;
  long refuseAt = -1;
  long puts = 0;
  long writes = 0;
  std::string bytes;
  std::vector<std::uint32_t> blocks;
  std::size_t received = 0;   // bytes accepted
  long firstDifference = -1;  // byte, or block on the block path
  bool refused = false;
  int refusedDuring = -1;  // the job's call that was running
  int callsAfter = 0;

  // True when the call may go on; false when it must fail.
  bool Accept(long* count) {
    if (refused) {
      ++callsAfter;
      return false;
    }
    if ((*count)++ != refuseAt) return true;
    refused = true;
    refusedDuring = job != nullptr ? job->Calls() : -2;  // -2: before the job
    return false;
  }
  void Differs(long at) {
    if (firstDifference < 0) firstDifference = at;
  }
  static int Put(void* cookie, const char* byte) {
    auto* device = static_cast<RefusingDevice*>(cookie);
    if (!device->Accept(&device->puts)) return 0;
    if (device->reference == nullptr) {
      device->bytes.push_back(*byte);
    } else if (device->received >= device->reference->bytes.size() ||
               device->reference->bytes[device->received] != *byte) {
      device->Differs(static_cast<long>(device->received));
    }
    ++device->received;
    return 1;
  }
  static int Write(void* cookie, const char* data, std::uint32_t length) {
    auto* device = static_cast<RefusingDevice*>(cookie);
    if (!device->Accept(&device->writes)) return 0;
    const std::size_t block = static_cast<std::size_t>(device->writes - 1);
    if (device->reference == nullptr) {
      device->blocks.push_back(length);
      device->bytes.append(data, length);
    } else if (block >= device->reference->blocks.size() ||
               device->reference->blocks[block] != length ||
               device->reference->bytes.compare(device->received, length, data, length) != 0) {
      device->Differs(static_cast<long>(block));
    }
    device->received += length;
    return 1;
  }
  // The job reads nothing: a read, before or after the refusal, fails it.
  static int Read(void* cookie, char*) {
    ++static_cast<RefusingDevice*>(cookie)->callsAfter;
    return 0;
  }
  static int ReadCheck(void* cookie, std::uint32_t) {
    ++static_cast<RefusingDevice*>(cookie)->callsAfter;
    return 0;
  }
};

// What the job's calls returned.
struct Outcome {
  int calls = 0;
  int firstFailed = -1;
  int failures = 0;
};

// Runs the job on a fresh handle. Byte-wise, the block callback is bound as
// well: it must never be called, since byte-wise output takes precedence.
bool RunJob(const _NibREG_DATA* list, Path path, RefusingDevice* device, Outcome* outcome) {
  _NibWorld2 size{400, 277};
  void* plotter = NibGetHandle(&size);
  _NibDeviceProc procs{};
  procs.cookie = device;
  procs.put = path == Path::kPut ? &RefusingDevice::Put : nullptr;
  procs.write = &RefusingDevice::Write;
  procs.read = &RefusingDevice::Read;
  procs.readCheck = &RefusingDevice::ReadCheck;
  const bool ready = NibSetDeviceProc(plotter, &procs) == 1 && NibSetPlotter2(plotter, list) == 1;
  demo::SheetJob job(plotter);
  device->job = &job;
  if (ready) job.Run();
  device->job = nullptr;
  NibFreeHandle(plotter);
  *outcome = {job.Calls(), job.FirstFailed(), job.Failures()};
  return ready;
}

// The n to try for a job of `length` bytes or blocks, 1-based.
std::vector<long> Sample(long length) {
  long stride = std::max(1L, length / 500) | 1;
  if (const char* given = std::getenv("KONIB_REFUSAL_STRIDE"))
    stride = std::max(1L, std::atol(given));
  std::vector<long> ns;
  for (long n = 1; n <= length; ++n) {
    if (n <= 100 || n > length - 100 || (n - 1) % stride == 0) ns.push_back(n);
  }
  return ns;
}

// The first way in which a refused run differs from what it must be; empty
// when it is right.
std::string Problem(const RefusingDevice& device, const Outcome& job, Path path, long n,
                    const RefusingDevice& full) {
  if (!device.refused) return "the device was never asked for it";
  if (device.callsAfter != 0)
    return std::to_string(device.callsAfter) + " callbacks after the refusal";
  if (path == Path::kPut && device.writes != 0) return "the block callback was called byte-wise";
  if (job.firstFailed != device.refusedDuring) {
    return "call " + std::to_string(device.refusedDuring) + " met the refusal, but call " +
           std::to_string(job.firstFailed) + " failed first";
  }
  if (job.failures != job.calls - job.firstFailed) {
    return std::to_string(job.calls - job.firstFailed - job.failures) +
           " calls after the refusal returned 1";
  }
  if (device.firstDifference >= 0) {
    return (path == Path::kPut ? "byte " : "block ") + std::to_string(device.firstDifference) +
           " differs from the job's";
  }
  // Every callback before the refused one accepted: n-1 bytes, or the
  // bytes of n-1 blocks.
  std::size_t expected = static_cast<std::size_t>(n - 1);
  if (path == Path::kWrite) {
    expected = 0;
    for (std::size_t block = 0; block + 1 < static_cast<std::size_t>(n); ++block)
      expected += full.blocks[block];
  }
  if (device.received != expected) {
    return "accepted " + std::to_string(device.received) + " bytes, not " +
           std::to_string(expected);
  }
  return "";
}

class SheetRefusal : public ::testing::TestWithParam<std::tuple<Model, Path>> {};

TEST_P(SheetRefusal, EveryRefusalEndsTheJobCleanly) {
  const Model model = std::get<0>(GetParam());
  const Path path = std::get<1>(GetParam());
  std::ifstream in(std::string(KONIB_SOURCE_DIR) + "/models/" + model.file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  const std::unique_ptr<_NibREG_DATA, void (*)(const _NibREG_DATA*)> list(
      NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0,
                      model.section),
      NibFreeRegistry2);
  ASSERT_NE(list, nullptr);

  // The whole job, never refused, both ways: the same bytes, every call 1.
  RefusingDevice full;
  RefusingDevice other;
  Outcome whole;
  Outcome otherWhole;
  ASSERT_TRUE(RunJob(list.get(), path, &full, &whole));
  ASSERT_TRUE(
      RunJob(list.get(), path == Path::kPut ? Path::kWrite : Path::kPut, &other, &otherWhole));
  EXPECT_EQ(whole.firstFailed, -1);
  EXPECT_EQ(otherWhole.firstFailed, -1);
  EXPECT_EQ(full.callsAfter + other.callsAfter, 0);
  EXPECT_GT(full.bytes.size(), 1000u);
  EXPECT_TRUE(full.bytes == other.bytes) << "byte-wise and buffered output differ";
  ASSERT_FALSE(::testing::Test::HasFailure());

  const long length = path == Path::kPut ? full.puts : full.writes;
  const std::vector<long> ns = Sample(length);
  RecordProperty("length", std::to_string(length));
  RecordProperty("runs", std::to_string(ns.size()));
  int faults = 0;
  for (long n : ns) {
    RefusingDevice device;
    device.reference = &full;
    device.refuseAt = n - 1;
    Outcome outcome;
    ASSERT_TRUE(RunJob(list.get(), path, &device, &outcome));
    const std::string problem = Problem(device, outcome, path, n, full);
    EXPECT_EQ(problem, "") << model.section << ", refused at " << n << " of " << length;
    if (!problem.empty() && ++faults == 5) break;
  }
}

INSTANTIATE_TEST_SUITE_P(DemoJob, SheetRefusal,
                         ::testing::Combine(::testing::ValuesIn(kModels),
                                            ::testing::Values(Path::kPut, Path::kWrite)),
                         [](const ::testing::TestParamInfo<SheetRefusal::ParamType>& param) {
                           std::string name = std::get<0>(param.param).file;
                           name = name.substr(0, name.find('.'));
                           return name +
                                  (std::get<1>(param.param) == Path::kPut ? "_byte" : "_block");
                         });

}  // namespace

// The manager classes as an application meets them: this program links the
// shared library (the DLL on Windows) and none of its objects, so every
// member it calls crosses the library's boundary.
#include <KoNib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/store_root.h"

namespace {

using konib::test::StoreRoot;

const char kModels[] =
    "[Pen plotter]\r\n"
    "Command=Pen language\r\n"
    "Step=0.025,0.05\r\n"
    "Paper.3=A3,420,297\r\n"
    "Paper.4=A4,297,210\r\n"
    "Extension.0=0,Speed,Slow,VS1;,Fast,VS9;\r\n"
    "Extension.4=1,Pens,Fibre,,Ink\r\n"
    "Extension.5=0,Beyond,A,,B\r\n"
    "Ctrl.DrawArc=-1\r\n"
    "Digitize.Position=OD;\r\n"
    "Digitize.Enter=ENTER\r\n"
    "#1=Load pens.\r\n"
    "[Pen language]\r\n"
    "Command.Init=IN;\r\n"
    "[Other]\r\n"
    "Command=Other language\r\n"
    "[Other language]\r\n"
    "Command.Init=DF;\r\n";

const char kFixedGuide[] =
    "\x8f\xda\x82\xb5\x82\xad\x82\xcd\x81\x41\xca\xb0\xc4\xde\xb3\xaa\xb1\x82\xcc\xcf\xc6\xad"
    "\xb1\xd9\x82\xf0\x8e\x51\x8f\xc6\x82\xb5\x82\xc4\x82\xad\x82\xbe\x82\xb3\x82\xa2\x81\x42";

// The names of a catalogue text, sorted: the system registry has an order
// of its own.
std::vector<std::string> Names(const char* names) {
  std::vector<std::string> out;
  for (; names != nullptr && *names != '\0'; names += std::strlen(names) + 1) out.push_back(names);
  std::sort(out.begin(), out.end());
  return out;
}

// A store with the pen plotter installed through the catalogue class.
struct Installed {
  StoreRoot store;
  std::string file = store.WriteFile("models.ini", kModels);
  NibRegModelNames catalogue{store.root(), "Models"};
  Installed() {
    catalogue.SetupModel("Pen plotter", "Pen plotter", file.c_str(), "Pen language", "Pen language",
                         file.c_str());
  }
};

TEST(NibRegManager, KeepsEachResultUntilItsNextCall) {
  Installed installed;
  NibRegManager model(installed.store.root(), "Models", "pen plotter");
  ASSERT_NE(static_cast<const _NibREG_DATA*>(model), nullptr);

  const _NibPAPER_INFO* first = nullptr;
  const _NibPAPER_INFO* second = nullptr;
  int count = 0;
  EXPECT_EQ(model.GetPaperInfo(first, count), 1);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(model.GetPaperInfo(second, count), 1);
  EXPECT_NE(second, first);  // a fresh array; the first is freed (the sanitizer build checks)
  EXPECT_EQ(second[1].index, 4);
  EXPECT_STREQ(second[1].name, "A4");

  const _NibBIN_INFO* bins = nullptr;
  const _NibSTEPSIZE_INFO* steps = nullptr;
  EXPECT_EQ(model.GetBinInfo(bins, count) + model.GetStepSizeInfo(0.05, steps), 2);
  ASSERT_NE(steps, nullptr);
  EXPECT_EQ(steps->current, 1);

  // Five extension results side by side; index 5 is none of the five.
  const _NibEXTENSION_INFO* speed = nullptr;
  const _NibEXTENSION_INFO* pens = nullptr;
  EXPECT_EQ(model.GetExtensionInfo(0, speed), 1);
  EXPECT_EQ(model.GetExtensionInfo(4, pens), 1);
  const _NibEXTENSION_INFO* untouched = speed;
  EXPECT_EQ(model.GetExtensionInfo(5, untouched), 0);
  EXPECT_EQ(untouched, speed);
  EXPECT_EQ(model.GetExtensionInfo(-1, untouched), 0);
  EXPECT_EQ(model.GetExtensionInfo(3, untouched), 0);
  EXPECT_EQ(untouched, nullptr);
  EXPECT_STREQ(speed->title, "Speed");
  EXPECT_STREQ(pens->title, "Pens");
  const _NibEXTENSION_INFO* beyond = NibGetExtensionInfo(model, 5);
  ASSERT_NE(beyond, nullptr);
  EXPECT_STREQ(beyond->title, "Beyond");
  NibFreeExtensionInfo(beyond);

  const char* guide = nullptr;
  EXPECT_EQ(model.GetGuideText(guide), 1);
  EXPECT_STREQ(guide, "Load pens.");

  struct {
    int index, swap;
    POINT size;
  } sizes[] = {{4, 0, {297, 210}}, {4, 1, {210, 297}}, {9, 0, {420, 297}}};
  for (const auto& c : sizes) {
    POINT size{0, 0};
    _NibWorld2 real{0, 0};
    EXPECT_EQ(model.GetPaperSize(c.index, c.swap, size), 1);
    EXPECT_EQ(model.GetPaperSize(c.index, c.swap, real), 1);
    EXPECT_EQ(size.x, c.size.x);
    EXPECT_EQ(size.y, c.size.y);
    EXPECT_EQ(real.x, c.size.x);
    EXPECT_EQ(real.y, c.size.y);
  }

  _NibInfo info;
  model.GetDefaultInfo(info);
  EXPECT_EQ(info.extension[4], 1);
  char key[8];
  int length = 0;
  EXPECT_EQ(model.IsDrawArc() + model.IsDigitize() + model.GetDigitizeKey(key, &length), 3);
  EXPECT_STREQ(key, "ENTER");
}

TEST(NibRegManager, AModelThatFailedToLoadIsTheNullList) {
  Installed installed;
  NibRegManager model(installed.store.root(), "Models", "Missing");
  EXPECT_EQ(static_cast<const _NibREG_DATA*>(model), nullptr);
  const _NibPAPER_INFO* papers = nullptr;
  int count = 0;
  EXPECT_EQ(model.GetPaperInfo(papers, count), 1);
  EXPECT_EQ(count, 10);
  EXPECT_STREQ(papers[4].name, "A4 (210 x 297 mm)");
  const _NibSTEPSIZE_INFO* steps =
      reinterpret_cast<const _NibSTEPSIZE_INFO*>(&count);  // the call must clear it
  EXPECT_EQ(model.GetStepSizeInfo(1.0, steps), 0);
  EXPECT_EQ(steps, nullptr);
  const char* guide = nullptr;
  EXPECT_EQ(model.GetGuideText(guide), 1);
  EXPECT_STREQ(guide, kFixedGuide);  // a constant: the destructor leaves it alone
  POINT size{0, 0};
  model.GetPaperSize(4, 1, size);
  EXPECT_EQ(size.x, 297);
  EXPECT_EQ(size.y, 210);
  EXPECT_EQ(model.IsDrawArc() + model.IsDigitize(), 0);
}

TEST(NibRegManager, CopiesOwnTheirBlocks) {
  Installed installed;
  auto* original = new NibRegManager(installed.store.root(), "Models", "Pen plotter");
  const _NibPAPER_INFO* papers = nullptr;
  int count = 0;
  original->GetPaperInfo(papers, count);
  NibRegManager copy(*original);
  NibRegManager assigned(installed.store.root(), "Models", "Missing");
  const char* guide = nullptr;
  assigned.GetGuideText(guide);
  assigned = *original;
  const NibRegManager& same = assigned;
  assigned = same;
  EXPECT_NE(static_cast<const _NibREG_DATA*>(copy), static_cast<const _NibREG_DATA*>(*original));
  delete original;  // the copies live on with lists of their own
  for (NibRegManager* manager : {&copy, &assigned}) {
    EXPECT_EQ(manager->GetPaperInfo(papers, count), 1);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(manager->GetGuideText(guide), 1);
    EXPECT_STREQ(guide, "Load pens.");
    EXPECT_EQ(manager->IsDigitize(), 1);
  }
}

TEST(NibRegModelNames, ReadsTheStoreAnewAtEachUse) {
  Installed installed;
  NibRegModelNames& catalogue = installed.catalogue;
  EXPECT_EQ(catalogue.GetRegHKEY(), installed.store.root());
  EXPECT_STREQ(catalogue.GetRegPath(), "Models");
  EXPECT_EQ(Names(catalogue), std::vector<std::string>{"Pen plotter"});

  // A model whose command set is not there yet cannot be loaded; the set
  // alone comes in through SetupCommand and touches no model.
  const char* file = installed.file.c_str();
  catalogue.SetupModel("Other", "Other", file, nullptr, nullptr, nullptr);
  EXPECT_EQ(
      static_cast<const _NibREG_DATA*>(NibRegManager(installed.store.root(), "Models", "Other")),
      nullptr);
  catalogue.SetupCommand("Other language", "Other language", file);
  catalogue.SetupCommand("", "Other language", file);
  catalogue.SetupCommand(nullptr, "Other language", file);
  EXPECT_EQ(Names(catalogue), (std::vector<std::string>{"Other", "Pen plotter"}));
  NibRegManager other(installed.store.root(), "Models", "Other");
  const _NibREG_DATA* list = other;
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list->name, "Command.Init");
  EXPECT_STREQ(reinterpret_cast<const char*>(list->data), "DF;");

  NibRegModelNames copy(catalogue);
  catalogue.DeleteModel("Pen plotter");
  EXPECT_EQ(Names(copy), std::vector<std::string>{"Other"});
  copy.DeleteModel("Other");
  EXPECT_EQ(static_cast<const char*>(catalogue), nullptr);

  NibRegModelNames assigned(nullptr, nullptr);
  EXPECT_STREQ(assigned.GetRegPath(), "");
  EXPECT_EQ(static_cast<const char*>(assigned), nullptr);
  assigned = copy;
  EXPECT_EQ(assigned.GetRegHKEY(), installed.store.root());
  EXPECT_STREQ(assigned.GetRegPath(), "Models");
  const std::string longPath(300, 'p');
  NibRegModelNames cut(installed.store.root(), longPath.c_str());
  EXPECT_EQ(std::string(cut.GetRegPath()), longPath.substr(0, 259));
}

}  // namespace

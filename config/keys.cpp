#include "config/keys.h"

#include <cstring>

#include "platform/number.h"
#include "platform/text.h"

namespace konib {

// In this order: a search takes the first hit, so `PaperSize` must stand
// before the prefix `Paper.` could see it, and `Step` decides before `Step2`
// only by list order, both being key 11.
const KeyRow kKeyTable[] = {
    {false, NibKeyPenLayout, "PenLayout"},
    {false, NibKeyStylePitch, "StylePitch"},
    {false, NibKeyOrigin, "Origin"},
    {false, NibKeyScale, "Scale"},
    {false, NibKeyPaper, "Paper"},
    {true, NibKeyPaperEntry, "Paper."},
    {false, NibKeyPaperSize, "PaperSize"},
    {false, NibKeyBin, "Bin"},
    {true, NibKeyBinEntry, "Bin."},
    {false, NibKeyOrientation, "Orientation"},
    {false, NibKeyStep, "Step"},
    {false, NibKeyStep, "Step2"},
    {false, NibKeyDecimal, "Decimal"},
    {false, NibKeyAnk, "ANK"},
    {false, NibKeyKanji, "Kanji"},
    {false, NibKeyFontAdjust1, "FontAdjust1"},
    {false, NibKeyFontAdjust2, "FontAdjust2"},
    {false, NibKeyFontAdjust3, "FontAdjust3"},
    {false, NibKeyFontAdjust4, "FontAdjust4"},
    {false, NibKeyFontAdjust5, "FontAdjust5"},
    {false, NibKeyFontReplace, "FontReplace"},
    {false, NibKeyPenTbl, "PenTbl"},
    {false, NibKeyStyle0, "Style0"},
    {false, NibKeyStyle1, "Style1"},
    {false, NibKeyStyle2, "Style2"},
    {false, NibKeyStyle3, "Style3"},
    {false, NibKeyStyle4, "Style4"},
    {false, NibKeyStyle5, "Style5"},
    {false, NibKeyStyle6, "Style6"},
    {false, NibKeyStyle7, "Style7"},
    {false, NibKeyStyle8, "Style8"},
    {false, NibKeyStyle9, "Style9"},
    {false, NibKeyCommandPen, "Command.Pen"},
    {false, NibKeyCommandNextPen, "Command.NextPen"},
    {false, NibKeyCommandStyle, "Command.Style"},
    {false, NibKeyCommandInit, "Command.Init"},
    {false, NibKeyCommandTerm, "Command.Term"},
    {false, NibKeyCommandAbort, "Command.Abort"},
    {false, NibKeyCommandStartPage, "Command.StartPage"},
    {false, NibKeyCommandEndPage, "Command.EndPage"},
    {false, NibKeyCommandNextPage, "Command.NextPage"},
    {false, NibKeyCommandHome, "Command.Home"},
    {false, NibKeyCommandMove, "Command.Move"},
    {false, NibKeyCommandLine, "Command.Line"},
    {false, NibKeyCommandCircle, "Command.Circle"},
    {false, NibKeyCommandArc, "Command.Arc"},
    {false, NibKeyCommandText, "Command.Text"},
    {false, NibKeyCommandText, "Command.TextInit"},
    {false, NibKeyCommandTextDrawInit, "Command.TextDrawInit"},
    {false, NibKeyCommandTextDraw, "Command.TextDraw"},
    {false, NibKeyCommandTextDrawTerm, "Command.TextDrawTerm"},
    {false, NibKeyCommandTextCharInit, "Command.TextCharInit"},
    {false, NibKeyCommandTextChar, "Command.TextChar"},
    {false, NibKeyCommandTextCharTerm, "Command.TextCharTerm"},
    {false, NibKeyCommandTextKanaInit, "Command.TextKanaInit"},
    {false, NibKeyCommandTextKana, "Command.TextKana"},
    {false, NibKeyCommandTextKanaTerm, "Command.TextKanaTerm"},
    {false, NibKeyCommandTextTerm, "Command.TextTerm"},
    {false, NibKeyCommandFontBoldOff, "Command.FontBoldOff"},
    {false, NibKeyCommandFontBoldOn, "Command.FontBoldOn"},
    {false, NibKeyCommandFontItalicOff, "Command.FontItalicOff"},
    {false, NibKeyCommandFontItalicOn, "Command.FontItalicOn"},
    {false, NibKeyCommandFontWidth, "Command.FontWidth"},
    {false, NibKeyCommandFontHeight, "Command.FontHeight"},
    {false, NibKeyCommandFontPitch, "Command.FontPitch"},
    {false, NibKeyCommandFontAngle, "Command.FontAngle"},
    {true, NibKeyExtensionEntry, "Extension."},
    {false, NibKeyDigitizeStart, "Digitize.Start"},
    {false, NibKeyDigitizeEnd, "Digitize.End"},
    {false, NibKeyDigitizePosition, "Digitize.Position"},
    {false, NibKeyDigitizeEnter, "Digitize.Enter"},
    {false, NibKeyDigitizePen, "Digitize.Pen"},
    {false, NibKeyDigitizeReleasePen, "Digitize.ReleasePen"},
    {false, NibKeyCtrlDrawArc, "Ctrl.DrawArc"},
};
const std::size_t kKeyTableSize = sizeof kKeyTable / sizeof kKeyTable[0];
static_assert(sizeof kKeyTable / sizeof kKeyTable[0] == 74, "one row per key name");

const KeyRow* FindKey(const char* valueName, int* entry) {
  for (const KeyRow& row : kKeyTable) {
    if (row.prefix) {
      std::size_t length = std::strlen(row.name);
      if (platform::CompareNoCaseN(valueName, row.name, length) != 0) continue;
      *entry = platform::ReadInt(valueName + length);
      return &row;
    }
    if (platform::CompareNoCase(valueName, row.name) == 0) {
      *entry = 0;
      return &row;
    }
  }
  return nullptr;
}

}  // namespace konib

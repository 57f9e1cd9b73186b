// Layers: the pen that a layer's number names, and the choice of layers.
#include <algorithm>

#include "svg/svg.h"

namespace konib::svg {

bool HasNumberedLayers(const Drawing& drawing) {
  auto numbered = [](const auto& item) { return item.layer > 0; };
  return std::any_of(drawing.shapes.begin(), drawing.shapes.end(), numbered) ||
         std::any_of(drawing.texts.begin(), drawing.texts.end(), numbered);
}

// A plotter has pens 1 to 16; a layer numbered past them goes by colour.
void PensByLayer(Drawing* drawing) {
  auto pen = [](int layer) { return layer <= 16 ? layer : 0; };
  for (Shape& s : drawing->shapes) s.pen = pen(s.layer);
  for (Text& t : drawing->texts) t.pen = pen(t.layer);
}

void KeepLayers(Drawing* drawing, const std::vector<int>& layers) {
  auto dropped = [&](const auto& item) {
    return std::find(layers.begin(), layers.end(), item.layer) == layers.end();
  };
  drawing->shapes.erase(std::remove_if(drawing->shapes.begin(), drawing->shapes.end(), dropped),
                        drawing->shapes.end());
  drawing->texts.erase(std::remove_if(drawing->texts.begin(), drawing->texts.end(), dropped),
                       drawing->texts.end());
}

void ChooseLayers(Drawing* drawing, const std::string& pensBy, const std::vector<int>& layers) {
  bool byLayer = pensBy == "layer" || (pensBy.empty() && HasNumberedLayers(*drawing));
  if (!layers.empty()) KeepLayers(drawing, layers);
  if (byLayer) PensByLayer(drawing);
}

}  // namespace konib::svg

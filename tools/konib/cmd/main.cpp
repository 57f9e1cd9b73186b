// konib: plots SVG drawings through a device model and checks models, on
// top of the library's public interface alone.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>

#include "cmd/check.h"
#include "cmd/digitize.h"
#include "cmd/models.h"
#include "cmd/plot.h"
#include "device/device.h"

namespace {

// The bundled models: share/konib/models beside an installed konib, else
// the source tree's models folder that this konib was built from.
std::string DefaultModels() {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::path self = fs::read_symlink("/proc/self/exe", error);
  if (!error) {
    fs::path installed = self.parent_path().parent_path() / "share" / "konib" / "models";
    if (fs::is_directory(installed, error)) return installed.string();
  }
  return KONIB_SOURCE_MODELS;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace konib::tool;
  CLI::App app{
      "konib: plot SVG drawings on pen plotters and check device models.\n"
      "Exit codes: 0 done, 1 bad input, 2 device error, 130 stopped by Ctrl-C."};
  app.require_subcommand(1);

  PlotOptions plot;
  plot.models = DefaultModels();
  CLI::App* plotCommand = app.add_subcommand("plot", "Plot an SVG drawing through a device model");
  plotCommand->add_option("drawing", plot.drawing, "The SVG drawing")->required();
  plotCommand
      ->add_option("--model", plot.model,
                   "A model: a name (hpgl, hpgl2, dxygl, svg, gcode, gpgl, cammgl, dmpl, hp75xx, "
                   "ebb), a model's "
                   "section name, or a model file")
      ->capture_default_str();
  plotCommand->add_option("--section", plot.section,
                          "The model's section in its file (default: the first model)");
  plotCommand->add_option("--models", plot.models, "The folder of model files")
      ->capture_default_str();
  plotCommand->add_option(
      "--paper", plot.paper,
      "A paper of the model, by name or number, or WxH in millimetres (default: the "
      "model's own)");
  plotCommand
      ->add_option("--orientation", plot.orientation,
                   "auto: turn the drawing a quarter when it then comes out larger; landscape or "
                   "portrait: the drawing's width along the paper's long or short side")
      ->check(CLI::IsMember({"auto", "landscape", "portrait"}))
      ->capture_default_str();
  plotCommand
      ->add_option("--scale", plot.scale,
                   "Millimetres on paper per millimetre of the drawing "
                   "(1: true size); default: fit the page onto the paper")
      ->check(CLI::PositiveNumber);
  plotCommand
      ->add_option("--pen-map", plot.penMap,
                   "COLOUR=PEN,... (pens 1 to 16); other colours take free "
                   "pens in order of appearance")
      ->delimiter(',');
  plotCommand->add_option("-o,--output", plot.to.file,
                          "Write the device bytes to this file (- or none: stdout)");
  plotCommand->add_option("--port", plot.to.port, "Send the device bytes to this serial port");
  plotCommand->add_option("--baud", plot.to.baud, "Baud rate of the port")->capture_default_str();
  plotCommand
      ->add_option("--flow", plot.flow,
                   "How the device takes bytes: xonxoff, rtscts, none, ack (a line answered "
                   "by ok, as GRBL does) or query (ESC.B, as HP plotters); default: the "
                   "model's Konib.Flow, else xonxoff")
      ->check(CLI::IsMember({"none", "xonxoff", "rtscts", "ack", "query"}));
  plotCommand
      ->add_option("--progress", plot.to.progress,
                   "Progress bar on stderr: auto (on a terminal), "
                   "always, never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str();

  // Reading the drawing: layers and pens.
  plotCommand
      ->add_option("--pens-by", plot.pensBy,
                   "layer: each Inkscape layer on the pen its name starts with (\"2 red pen\": "
                   "pen 2; shapes outside numbered layers by colour); colour: pens by colour. "
                   "Default: layer when the drawing has numbered layers, else colour. Hidden "
                   "layers are never plotted")
      ->check(CLI::IsMember({"layer", "colour"}));
  plotCommand
      ->add_option("--layers", plot.layers,
                   "N,... plot only the layers whose names start with these numbers")
      ->delimiter(',')
      ->check(CLI::PositiveNumber);

  // Planning: pens, joins, order, reports, stop and resume.
  plotCommand
      ->add_option_function<std::string>(
          "--order",
          [&](const std::string& order) { plot.plan.documentOrder = order == "document"; },
          "planned: each pen once, in pen number order, on a short pen-up road; document: the "
          "drawing's own order (default: planned)")
      ->check(CLI::IsMember({"planned", "document"}));
  plotCommand
      ->add_option("--join-tolerance", plot.plan.joinTolerance,
                   "Paths whose ends are this close (mm) are drawn as one")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  plotCommand
      ->add_option("--plan-time", plot.plan.planTime,
                   "Seconds to spend improving the order, counted as work so that the plan is "
                   "the same on every run and machine")
      ->check(CLI::Range(0.0, 3600.0))
      ->capture_default_str();
  plotCommand->add_option("--resume-from", plot.resumeFrom,
                          "Plot the plan from this path on (a stopped plot says where)");
  plotCommand->add_flag("--dry-run", plot.dryRun, "Plan and report the figures; send nothing");
  plotCommand->add_flag("--stat", plot.stat, "Report the figures of the plan on stderr");
  plotCommand->add_option("--preview", plot.preview,
                          "Write the plan as an SVG picture: pens in their colours, the pen-up "
                          "road in grey");

  // Fills: hatching.
  plotCommand
      ->add_option("--fill", plot.fill.mode,
                   "What becomes of filled shapes: hatch, cross (hatched twice at right angles), "
                   "outline, none (default: hatch when the pen width is known, else outline)")
      ->check(CLI::IsMember({"hatch", "cross", "outline", "none"}));
  plotCommand->add_flag("--fill-outline", plot.fill.outline,
                        "Draw the outline of a filled shape that has no stroke too");
  plotCommand->add_option("--hatch-pitch", plot.fill.pitch,
                          "Millimetres between hatch strokes (default: 0.9 of the pen width)");
  plotCommand->add_option("--hatch-angle", plot.fill.angle, "Degrees of the hatch strokes")
      ->capture_default_str();
  plotCommand->add_option("--pen-width", plot.fill.penWidth,
                          "The pen's width in mm (default: the model's Konib.PenWidth)");
  plotCommand
      ->add_option("--paper-colour", plot.fill.paper,
                   "The paper's colour: fills of this colour are not hatched")
      ->capture_default_str();

  // Lettering: text as device codes or strokes.
  plotCommand
      ->add_option("--text", plot.text,
                   "device: the plotter letters texts itself; strokes: konib draws them with a "
                   "Hershey font; auto: strokes where the model cannot letter a text")
      ->check(CLI::IsMember({"auto", "device", "strokes"}))
      ->capture_default_str();
  plotCommand
      ->add_option(
          "--font", plot.font,
          "The Hershey font of stroke letters (futural, rowmans, timesr... or a .jhf file)")
      ->capture_default_str();

  // Devices: how the model's device takes bytes.
  plotCommand
      ->add_option("--receive-buffer", plot.receiveBuffer,
                   "With --flow ack: bytes the device's receive buffer holds (default: the "
                   "model's Konib.ReceiveBuffer, else 128)")
      ->check(CLI::Range(1, 1 << 20));
  plotCommand
      ->add_option("--timeout", plot.timeout,
                   "Seconds the device may stay silent or hold the line before the plot ends "
                   "(0: no limit; default: the model's Konib.Timeout, else 30)")
      ->check(CLI::Range(0.0, 86400.0));

  plotCommand->add_option("--store", plot.store,
                          "Take the model from this model store (see konib models)");

  std::string store, modelName, installFile;
  std::vector<std::string> installSections;
  CLI::App* modelsCommand =
      app.add_subcommand("models", "The models of a store: list, show, install, remove");
  modelsCommand->require_subcommand(1);
  modelsCommand->add_option("--store", store, "The store folder (default: $XDG_DATA_HOME/konib)");
  CLI::App* listCommand =
      modelsCommand->add_subcommand("list", "The names of the models in the store");
  CLI::App* showCommand =
      modelsCommand->add_subcommand("show", "What a set-up dialog shows for a model");
  showCommand->add_option("name", modelName, "The model")->required();
  CLI::App* installCommand = modelsCommand->add_subcommand(
      "install",
      "Install models of a model file, with their command sets (default: every model in it)");
  installCommand->add_option("file", installFile, "The model file")->required();
  installCommand->add_option("section", installSections, "The models' sections");
  CLI::App* removeCommand = modelsCommand->add_subcommand(
      "remove", "Remove a model, and its command set when no other model uses it");
  removeCommand->add_option("name", modelName, "The model")->required();

  DigitizeOptions digitize;
  digitize.models = plot.models;
  CLI::App* digitizeCommand = app.add_subcommand(
      "digitize", "Print the points a digitizer sends (plot units, mm), until Ctrl-C");
  digitizeCommand->add_option("--model", digitize.model, "A model, as for plot")
      ->capture_default_str();
  digitizeCommand->add_option("--section", digitize.section, "The model's section in its file");
  digitizeCommand->add_option("--models", digitize.models, "The folder of model files")
      ->capture_default_str();
  digitizeCommand->add_option("--store", digitize.store, "Take the model from this model store");
  digitizeCommand->add_option("--port", digitize.from.port, "The digitizer's serial port")
      ->required();
  digitizeCommand->add_option("--baud", digitize.from.baud, "Baud rate of the port")
      ->capture_default_str();
  digitizeCommand->add_option("--flow", digitize.from.flow, "Flow control of the port")
      ->check(CLI::IsMember({"none", "xonxoff", "rtscts"}))
      ->capture_default_str();

  std::string checkFile, checkSection;
  CLI::App* checkCommand =
      app.add_subcommand("check", "Check a model file and show what a sample job sends through it");
  checkCommand->add_option("model-file", checkFile, "The model file")->required();
  checkCommand->add_option("section", checkSection,
                           "The model's section (default: every model in the file)");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    int code = app.exit(e);
    return code == 0 ? kOk : kBadInput;
  }
  try {
    if (plotCommand->parsed()) {
      CatchInterrupt();
      return Plot(plot);
    }
    if (digitizeCommand->parsed()) {
      CatchInterrupt();
      return Digitize(digitize);
    }
    if (modelsCommand->parsed()) {
      std::string folder = StoreFolder(store);
      if (listCommand->parsed()) return ModelsList(folder);
      if (showCommand->parsed()) return ModelsShow(folder, modelName);
      if (installCommand->parsed()) return ModelsInstall(folder, installFile, installSections);
      return ModelsRemove(folder, modelName);
    }
    return Check(checkFile, checkSection);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "konib: out of memory\n");
    return kBadInput;
  }
}

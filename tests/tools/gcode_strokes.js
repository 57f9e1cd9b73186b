// Reads a G-code file with gcode-interpreter, an interpreter that this
// project did not write, and prints each motion drawn with the pen down as
// "x1 y1 x2 y2" in millimetres, one a line. Lines that say how the pen
// changes print as "pen up" and "pen down", so that the caller can see each
// change go out once.
//
// usage: node gcode_strokes.js MODULES FILE servo DOWN   (M3 S<DOWN> lowers)
//        node gcode_strokes.js MODULES FILE z           (Z at or below 0 is down)
const path = require('path');
const [modules, file, mode, downValue] = process.argv.slice(2);
const loaded = require(path.resolve(modules, 'gcode-interpreter'));
const Interpreter = loaded.Interpreter || loaded.default || loaded;

let x = 0, y = 0, z = 10, down = false, metric = false, absolute = false;
const out = [];
function pen(now) {
  out.push(now ? 'pen down' : 'pen up');
  down = now;
}
function motion(args, drawing) {
  if (!metric || !absolute) throw new Error('motion before G21 and G90');
  const nx = 'X' in args ? args.X : x, ny = 'Y' in args ? args.Y : y;
  if ('Z' in args) {
    z = args.Z;
    if (mode === 'z') pen(z <= 0);
  }
  if (drawing && down && (nx !== x || ny !== y)) out.push(`${x} ${y} ${nx} ${ny}`);
  if (!drawing && down && (nx !== x || ny !== y)) throw new Error('a rapid move with the pen down');
  x = nx;
  y = ny;
}
const handlers = {
  G0: (a) => motion(a, false),
  G1: (a) => motion(a, true),
  G21: () => { metric = true; },
  G90: () => { absolute = true; },
  M3: (a) => { if (mode === 'servo') pen(a.S === Number(downValue)); },
  M5: () => { if (mode === 'servo') pen(false); },
};
new Interpreter({ handlers }).loadFromFileSync(file);
process.stdout.write(out.join('\n') + '\n');

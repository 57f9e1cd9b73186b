/* The README's example: a tiny HP-GL-like model, one line, one job. */
#include <KoNib.h>
#include <stdio.h>

static int put(void* cookie, const char* byte) { return fputc(*byte, (FILE*)cookie) != EOF; }

static const char model[] =
    "[Tiny plotter]\r\n"
    "Step=0.025\r\n"                       /* one device step in mm */
    "Decimal=0\r\n"
    "PenLayout=0,1,2\r\n"                 /* pen index i is pen number i */
    "Command.Init=IN;\r\n"
    "Command.Pen=SP\\pn;\r\n"
    "Command.Move=PU\\x1,\\y1;\r\n"
    "Command.Line=PD\\x2,\\y2;\r\n"
    "Command.Term=SP0;\\n\r\n";

int main(void) {
    _NibWorld2 size = {400.0, 277.0};      /* plotting area in mm */
    void* plotter = NibGetHandle(&size);
    _NibREG_DATA* list = NibGetRegistry2(model, sizeof model - 1, NULL, 0, "Tiny plotter");
    NibSetPlotter2(plotter, list);         /* the handle copies what it needs */
    NibFreeRegistry2(list);
    NibSetDevice(plotter, stdout, put, NULL);

    _NibWorld4 line = {{10, 10}, {100, 50}};  /* start and displacement */
    NibInitiate(plotter);
    NibStartPage(plotter);
    NibDrawLine(plotter, &line);
    NibEndPage(plotter);
    NibTerminate(plotter);  /* sent: IN;SP1;PU400,400;PD4400,2400;SP0; */
    NibFreeHandle(plotter);
    return 0;
}

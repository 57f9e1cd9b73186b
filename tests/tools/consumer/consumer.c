/* Draws one line through a model given as text and prints the bytes. */
#include <KoNib.h>
#include <stdio.h>

static int put(void* cookie, const char* byte) { return fputc(*byte, (FILE*)cookie) != EOF; }

static const char model[] =
    "[Line]\r\nStep=0.5\r\nDecimal=0\r\nCommand.Move=M\\x1,\\y1;\r\nCommand.Line=L\\x2,\\y2;\r\n";

int main(void) {
  _NibWorld2 size = {100, 100};
  _NibWorld4 line = {{1, 2}, {3, 4}};
  void* plotter = NibGetHandle(&size);
  _NibREG_DATA* list = NibGetRegistry2(model, sizeof model - 1, NULL, 0, "Line");
  int ok = NibSetPlotter2(plotter, list) && NibSetDevice(plotter, stdout, put, NULL) &&
           NibDrawLine(plotter, &line);
  NibFreeRegistry2(list);
  NibFreeHandle(plotter);
  putchar('\n');
  return ok ? 0 : 1;
}

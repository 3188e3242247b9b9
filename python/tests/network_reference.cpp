// The Python tests' unit network built with the emulator in C++: a 32-bit
// pattern into a convolution unit made from its dialog (1.G at 45 degrees,
// its value pins set to the same), shown by a grey display unit at zoom 2.
// Writes the window's grey levels, top row first, into the file given.
#include <cstdio>
#include <fstream>
#include <string>

#include "Network.h"
#include "TirnHost.h"

using tirnhost::Arg;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]);
        return 2;
    }
    tirnhost::Module m(tirnhost::modulePath(TIRN_MODULE_PATH));
    const int w = 9, h = 7;
    void* img = m.create("CImage", {Arg::integer(32), Arg::integer(w), Arg::integer(h)});
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            m.call(img, "CImage", "setPixel",
                   {Arg::integer(x), Arg::integer(y), Arg::integer(0),
                    Arg::real(float((x * 37 + y * 101) % 256))});
    {
        tirnhost::Network net(m);
        tirnhost::Unit* conv = net.create(
            "tirnvision", "ConvolutionFilter",
            {{"Depth of Input-CImage", "32-bit"}, {"Filtertype", "1.G"}, {"Orientation", "45"}});
        tirnhost::Unit* show = net.create("tirnvision", "display_image",
                                          {{"Mode", "gray"}, {"Zoom", "2"}, {2, "12"}, {3, "10"}});
        conv->setGroupValue(1, 0, 1);
        conv->setGroupValue(1, 1, 45);
        conv->setGroupValue(1, 2, 1);
        net.setInputImage(conv, 0, img);
        net.connect(conv, 0, show, 0);
        if (!net.run({conv, show}))
            return 1;
        const tirnhost::Window* win = net.windowOf(show);
        std::ofstream out(argv[1], std::ios::binary);
        for (int y = 0; y < win->height(); ++y)
            for (int x = 0; x < win->width(); ++x)
                out.put(char(win->grey(x, y)));
    }
    m.release(img);
    return 0;
}

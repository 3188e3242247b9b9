// A script's and a network's view of tirnvision: loads tirnvision.so
// through the host emulator, exactly as the host loads it, runs a picture
// through a chain of the library's operations, called by their script
// names, and then through a network of its units whose windows are saved as
// pictures. One line per step with its time; the library's own chatter and
// which unit drew which file go to pipeline.log in the output folder,
// beside the results.
//
//   tirn_example_pipeline [picture [output-folder]]
//
// The picture is anything GraphicsMagick reads; the default is its built-in
// "logo:" (no file needed). The folder defaults to out/ at the top of the
// source tree.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "Network.h"
#include "TirnHost.h"

using tirnhost::Arg;

namespace {

Arg I(int i) { return Arg::integer(i); }
Arg F(float f) { return Arg::real(f); }
Arg S(const std::string& s) { return Arg::text(s); }
Arg Img(void* p) { return Arg::image(p); }

// Runs the steps; stops at the first that fails.
class Pipeline
{
public:
    Pipeline(tirnhost::Module& module, const std::string& sLog) : m(module)
    {
        std::fflush(stdout);
        m_iConsole = dup(STDOUT_FILENO);
        m_iLog = open(sLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    }
    ~Pipeline()
    {
        close(m_iConsole);
        if (m_iLog >= 0)
            close(m_iLog);
    }
    bool ok() const { return m_iLog >= 0 && m_bOk; }

    // Runs what has no line of its own with its output in the log.
    void quietly(const std::function<void()>& run)
    {
        std::fflush(stdout);
        dup2(m_iLog, STDOUT_FILENO);
        run();
        std::fflush(stdout);
        dup2(m_iConsole, STDOUT_FILENO);
    }

    // The step's own output goes to the log; its line and time to the
    // console. A step fails when it says so or raises a script error.
    void step(const std::string& sName, const std::function<std::string()>& run)
    {
        if (!m_bOk)
            return;
        std::fflush(stdout);
        dprintf(m_iLog, "--- %s\n", sName.c_str());
        dup2(m_iLog, STDOUT_FILENO);
        const auto t0 = std::chrono::steady_clock::now();
        std::string sResult;
        try {
            sResult = run();
        } catch (const std::exception& e) {
            sResult = std::string("!") + e.what();
        }
        const auto t1 = std::chrono::steady_clock::now();
        std::fflush(stdout);
        dup2(m_iConsole, STDOUT_FILENO);
        const double dMs = std::chrono::duration<double, std::milli>(t1 - t0).count();
        for (const tirnhost::ScriptError& e : m.takeErrors())
            sResult = "!" + e.kind + " " + e.message;
        m_bOk = sResult.empty() || sResult[0] != '!';
        std::printf("%-34s %9.2f ms  %s\n", sName.c_str(), dMs,
                    m_bOk ? sResult.c_str() : ("FAILED: " + sResult.substr(1)).c_str());
        std::fflush(stdout);
    }

private:
    tirnhost::Module& m;
    int m_iConsole;
    int m_iLog;
    bool m_bOk = true;
};

std::string sizeOf(tirnhost::Module& m, void* pImage)
{
    auto get = [&](const char* pc) { return m.call(pImage, "CImage", pc).i; };
    return std::to_string(get("width")) + "x" + std::to_string(get("height")) + "x" +
           std::to_string(get("channels")) + " depth " + std::to_string(get("depth"));
}

// A transformation object run from input to output the way scripts do it.
void transform(tirnhost::Module& m, const std::string& sClass, void* pFilter, void* pIn,
               void* pOut)
{
    m.call(pFilter, sClass, "setInput", {Img(pIn)});
    m.call(pFilter, sClass, "setOutput", {Img(pOut)});
    m.call(pFilter, sClass, "exec");
}

// Largest difference between two images of one shape, over all channels.
float maxDifference(tirnhost::Module& m, void* pA, void* pB)
{
    const int w = m.call(pA, "CImage", "width").i, h = m.call(pA, "CImage", "height").i;
    const int c = m.call(pA, "CImage", "channels").i;
    std::vector<float> a(std::size_t(w) * h * c), b(a.size());
    m.call(pA, "CImage", "getImageData", {Arg::floats(a), I(1)});
    m.call(pB, "CImage", "getImageData", {Arg::floats(b), I(1)});
    float fMax = 0.0f;
    for (std::size_t i = 0; i < a.size(); ++i)
        fMax = std::max(fMax, std::fabs(a[i] - b[i]));
    return fMax;
}

std::string saved(int iResult, const std::string& sPath)
{
    return iResult == 1 ? sPath : "!could not write " + sPath;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string sPicture = argc > 1 ? argv[1] : "logo:";
    const std::string sOut = argc > 2 ? argv[2] : TIRN_OUTPUT_DIR;
    mkdir(sOut.c_str(), 0755);
    struct stat info;
    if (stat(sOut.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        std::fprintf(stderr, "tirn_example_pipeline: cannot use the folder %s\n", sOut.c_str());
        return 1;
    }

    std::unique_ptr<tirnhost::Module> module;
    const std::string sModule = tirnhost::modulePath(TIRN_MODULE_PATH);
    try {
        module = std::make_unique<tirnhost::Module>(sModule);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tirn_example_pipeline: cannot load %s: %s\n", sModule.c_str(),
                     e.what());
        return 1;
    }
    tirnhost::Module& m = *module;
    std::printf("tirnvision %s, picture \"%s\", results in %s/\n",
                static_cast<const char* const*>(m.symbol("Tirn_V_of_tirnvision"))[0],
                sPicture.c_str(), sOut.c_str());

    Pipeline p(m, sOut + "/pipeline.log");
    if (!p.ok()) {
        std::fprintf(stderr, "tirn_example_pipeline: cannot write %s/pipeline.log\n",
                     sOut.c_str());
        return 1;
    }
    const auto path = [&](const std::string& sName) { return sOut + "/" + sName; };

    void* pByte = m.create("CImage", {I(8)});
    p.step("load (GraphicsMagick)", [&]() -> std::string {
        if (m.call(pByte, "CImage", "load", {S(sPicture), S("auto")}).i != 1)
            return "!cannot load " + sPicture + " (see pipeline.log)";
        return sizeOf(m, pByte);
    });

    void* pRgb = nullptr;
    p.step("convertDepth 8 -> 32", [&]() -> std::string {
        pRgb = m.call(pByte, "CImage", "convertDepth", {I(32)}).handle;
        return pRgb ? sizeOf(m, pRgb) : "!no image";
    });

    void* pGauss = m.create("CImage", {I(32)});
    p.step("CGaussFilter sigma 2", [&]() -> std::string {
        void* pFilter = m.create("CGaussFilter", {I(32)});
        m.call(pFilter, "CGaussFilter", "setBandwidth", {F(2.0f)});
        transform(m, "CGaussFilter", pFilter, pRgb, pGauss);
        return sizeOf(m, pGauss);
    });

    void* pSobel = m.create("CImage", {I(32)});
    p.step("CSobelFilter 3x3 vertical", [&]() -> std::string {
        void* pFilter = m.create("CSobelFilter", {I(32), I(3), I(1)});
        transform(m, "CSobelFilter", pFilter, pGauss, pSobel);
        return "edges up to " + std::to_string(m.call(pSobel, "CImage", "max", {I(0)}).f);
    });

    void* pMedian = m.create("CImage", {I(32)});
    p.step("CMedianFilter 5x5", [&]() -> std::string {
        void* pFilter = m.create("CMedianFilter", {I(32)});
        m.call(pFilter, "CMedianFilter", "setNeighborhood", {I(5)});
        transform(m, "CMedianFilter", pFilter, pRgb, pMedian);
        return sizeOf(m, pMedian);
    });

    // The colour scales take values in 0..1: the red channel's edges,
    // scaled to that range.
    void* pEdges = m.create("CImage", {I(32)});
    void* pColours = m.create("CImage", {I(32)});
    p.step("CColormap pseudo colour", [&]() -> std::string {
        void* pSelect = m.create("CSelectChannel", {I(32)});
        m.call(pSelect, "CSelectChannel", "setInput", {Img(pSobel)});
        m.call(pSelect, "CSelectChannel", "selectChannel", {S("X*")});
        m.call(pSelect, "CSelectChannel", "setOutput", {Img(pEdges)});
        m.call(pSelect, "CSelectChannel", "exec");
        std::vector<float> lo = {0.0f}, hi = {1.0f};
        m.call(pEdges, "CImage", "scaleRange", {Arg::floats(lo), Arg::floats(hi), I(0)});
        void* pMap = m.create("CColormap", {I(32), I(1)});
        transform(m, "CColormap", pMap, pEdges, pColours);
        return sizeOf(m, pColours);
    });

    void* pHsi = m.create("CImage", {I(32)});
    void* pBack = m.create("CImage", {I(32)});
    p.step("CHsiRgbFilter RGB -> HSI -> RGB", [&]() -> std::string {
        void* pToHsi = m.create("CHsiRgbFilter", {I(32), I(0)});
        void* pToRgb = m.create("CHsiRgbFilter", {I(32), I(1)});
        m.call(pToHsi, "CHsiRgbFilter", "exec", {Img(pRgb), Img(pHsi)});
        m.call(pToRgb, "CHsiRgbFilter", "exec", {Img(pHsi), Img(pBack)});
        return "largest round-trip difference " + std::to_string(maxDifference(m, pRgb, pBack));
    });

    // First derivative of a Gaussian across 45 degrees, generated into the
    // script's own array.
    std::vector<float> mask(9 * 9);
    void* pOriented = m.create("CImage", {I(32)});
    p.step("CConvolutionFilter 1.G 9x9 45deg", [&]() -> std::string {
        void* pFilter = m.create("CConvolutionFilter",
                                 {I(32), Arg::floats(mask), I(9), I(1), F(45.0f), F(2.0f), I(0)});
        m.call(pFilter, "CConvolutionFilter", "exec", {Img(pRgb), Img(pOriented)});
        return sizeOf(m, pOriented);
    });

    const std::pair<const char*, void*> results[] = {
        {"gauss", pGauss},   {"sobel", pSobel},       {"median", pMedian},
        {"colormap", pColours}, {"hsi_rgb", pBack},  {"mask_1G_45", pOriented}};
    p.step("save PNG (GraphicsMagick)", [&]() -> std::string {
        std::string sWritten;
        for (const auto& [pcName, pImage] : results) {
            const std::string sPath = path(std::string(pcName) + ".png");
            if (m.call(pImage, "CImage", "save", {S(sPath), S("PNG")}).i != 1)
                return saved(0, sPath);
            sWritten += std::string(sWritten.empty() ? "" : " ") + pcName + ".png";
        }
        return sWritten;
    });

    p.step("save MTX and load it back", [&]() -> std::string {
        const std::string sPath = path("gauss.mtx");
        if (m.call(pGauss, "CImage", "save", {S(sPath), S("MTX")}).i != 1)
            return saved(0, sPath);
        void* pReloaded = m.create("CImage", {I(32)});
        if (m.call(pReloaded, "CImage", "load", {S(sPath), S("MTX")}).i != 1)
            return "!cannot read back " + sPath;
        const float fDiff = maxDifference(m, pGauss, pReloaded);
        if (fDiff != 0.0f)
            return "!read back differs by " + std::to_string(fDiff);
        return std::string("gauss.mtx, read back identical");
    });

    // The network: the picture through an HSI_RGB_Filter unit into a
    // ConvolutionFilter unit made from its dialog, shown by two display
    // units of two tiles each, side by side, at zoom 2.
    std::unique_ptr<tirnhost::Network> net;
    struct Shown
    {
        tirnhost::Unit* unit;
        const char* file;
        const char* what;
    };
    std::vector<Shown> shown;
    // The units' warnings (qor_warning) go to the log.
    const auto logWarnings = [&] {
        for (const std::string& s : m.takeWarnings())
            std::printf("warning: %s\n", s.c_str());
    };
    p.step("network: units from dialogs", [&]() -> std::string {
        net = std::make_unique<tirnhost::Network>(m);
        tirnhost::Unit* hsi = net->create("tirnvision", "HSI_RGB_Filter",
                                          {{"Depth of CImage", "32-bit"}, {1, "HSI"}});
        tirnhost::Unit* conv = net->create(
            "tirnvision", "ConvolutionFilter",
            {{"Depth of Input-CImage", "32-bit"}, {"Filtertype", "1.G"}, {"Orientation", "45"}});
        if (!hsi || !conv) {
            logWarnings();
            return "!a unit was refused (see pipeline.log)";
        }
        // The unit reads its type, orientation and zoom from these pins on
        // every run; they say what the dialog said.
        conv->setGroupValue(1, 0, 1.0f);
        conv->setGroupValue(1, 1, 45.0f);
        conv->setGroupValue(1, 2, 1.0f);
        net->connect(hsi, 0, conv, 0);
        net->setInputImage(hsi, 0, pRgb);
        // Two tiles side by side is a negative tile count, which only the
        // creation function takes; the icon's dialog always makes one tile.
        typedef tirnhost::UnitRecord* (*DisplayFn)(char*, int, int, int, int, int, int, char*,
                                                   tirnhost::UnitRecord*);
        auto display = reinterpret_cast<DisplayFn>(m.symbol("display_image"));
        const int w = m.call(pRgb, "CImage", "width").i, h = m.call(pRgb, "CImage", "height").i;
        const std::pair<int, const char*> modes[] = {{0, "grey 10 10"}, {1, "rgb 10 900"}};
        for (const auto& [iMode, pcPlaced] : modes) {
            std::string placed = pcPlaced, options;
            tirnhost::UnitRecord* r =
                display(&placed[0], w, h, 3, iMode, 2, -2, &options[0], net->holder());
            if (!r) {
                logWarnings();
                return "!display_image refused (see pipeline.log)";
            }
            tirnhost::Unit* u = net->adopt(r, "tirnvision", "display_image");
            net->connect(conv, 0, u, 0);
            shown.push_back({u, iMode ? "net_rgb.png" : "net_grey.png",
                             iMode ? "rgb: edges of H, S, I as red, green, blue | edges of I"
                                   : "grey: edges of I | edges of S"});
        }
        // Channel pins: the grey unit shows intensity and saturation edges,
        // the rgb unit the three edge channels as colour, then intensity.
        const std::vector<std::vector<float>> channels = {{2, 1}, {0, 1, 2, 2, 2, 2}};
        for (std::size_t k = 0; k < shown.size(); ++k)
            for (std::size_t i = 0; i < channels[k].size(); ++i)
                shown[k].unit->setGroupValue(1, int(i), channels[k][i]);
        return std::to_string(net->units().size()) + " units";
    });

    p.step("network: run", [&]() -> std::string {
        std::vector<tirnhost::Unit*> order = net->units();
        const bool bRan = net->run(order);
        logWarnings();
        if (!bRan)
            return "!the run stopped";
        return "edges " + sizeOf(m, order[1]->outputImage(0));
    });

    p.step("network: windows as PNG", [&]() -> std::string {
        std::string sWritten;
        for (const Shown& s : shown) {
            tirnhost::Window* w = net->windowOf(s.unit);
            w->savePng(path(s.file));
            std::printf("%s (%s, window \"%s\" %dx%d) drew %s\n",
                        s.unit->labelText().c_str(), s.what, w->name().c_str(), w->width(),
                        w->height(), path(s.file).c_str());
            sWritten += std::string(sWritten.empty() ? "" : " ") + s.file;
        }
        net->save(path("network.txt"));
        return sWritten + " network.txt";
    });

    const bool bOk = p.ok();
    // Freeing the objects talks too (the colour map says its depth).
    p.quietly([&] {
        net.reset();
        module.reset();
    });
    if (!bOk)
        return 1;
    std::printf("done: results and pipeline.log in %s/\n", sOut.c_str());
    return 0;
}

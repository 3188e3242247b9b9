// The host emulator's dialog parser, and units created from answers to
// their icon's dialogs. The first byte chooses:
//   0 ... 5   the folder's icon of that number: the rest is answers, one a
//             line, "label=value", "#field=value" or "$text field=value";
//             the unit is created, given its second dialog with the same
//             answers, and removed
//   otherwise the rest is a dialog description, read and answered with
//             every field's own preset and then with a value taken from
//             the description's last line.
// A refusal is a HostError or a warning and no unit; anything else that
// escapes, or a sanitizer report, is a finding.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Dialog.h"
#include "FuzzLines.h"
#include "Network.h"
#include "TirnHost.h"

using namespace tirnhost;

namespace {

const char* const kIcons[] = {"CImageToPins",   "PinsToCImage",      "display_image",
                              "HSI_RGB_Filter", "ConvolutionFilter", "CortLayerFilter"};
constexpr int kIconCount = sizeof(kIcons) / sizeof(kIcons[0]);

Module& module()
{
    static std::unique_ptr<Module> pModule = [] {
        if (!std::freopen("/dev/null", "w", stdout))
            std::abort();
        // Units size their windows and pin groups from the answers; the
        // budget keeps the images they make small.
        setenv("TIRNVISION_MAX_IMAGE_BYTES", "16777216", 1);
        return std::make_unique<Module>(modulePath(TIRN_FUZZ_MODULE));
    }();
    return *pModule;
}

std::vector<Answer> answersOf(const std::vector<std::string>& lines)
{
    std::vector<Answer> answers;
    for (const std::string& line : lines) {
        const std::size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0)
            continue;
        const std::string sKey = line.substr(1, eq - 1);
        const std::string sValue = line.substr(eq + 1);
        if (line[0] == '#' || line[0] == '$') {
            const int iField = std::atoi(sKey.c_str());
            answers.push_back(line[0] == '#' ? Answer(iField, sValue)
                                             : Answer::text(iField, sValue));
        } else {
            answers.emplace_back(line.substr(0, eq).c_str(), sValue);
        }
    }
    return answers;
}

void readEveryField(const Dialog& dialog)
{
    for (const DialogField& field : dialog.numericFields()) {
        (void)dialog.ival(field.number);
        (void)dialog.fval(field.number);
    }
    for (const DialogField& field : dialog.textFields())
        (void)dialog.tval(field.number);
}

void fuzzDescription(const std::vector<std::string>& lines)
{
    std::string sDescription;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i)
        sDescription += lines[i];
    try {
        Dialog dialog(sDescription);
        readEveryField(dialog);
        for (const DialogField& field : dialog.numericFields()) {
            try {
                dialog.answer(field.number, lines.back());
                if (!field.label.empty())
                    dialog.answer(field.label, lines.back());
            } catch (const HostError&) {
            }
        }
        for (const DialogField& field : dialog.textFields())
            dialog.answerText(field.number, lines.back());
        readEveryField(dialog);
    } catch (const HostError&) {
    }
}

void fuzzUnit(int iIcon, const std::vector<std::string>& lines)
{
    Network net(module());
    const std::vector<Answer> answers = answersOf(lines);
    try {
        Unit* pUnit = net.create("tirnvision", kIcons[iIcon], answers);
        if (pUnit) {
            net.applySecondDialog(pUnit, answers);
            net.remove(pUnit);
        }
    } catch (const HostError&) {
    }
    module().takeErrors();
    module().takeWarnings();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::vector<std::string> lines = tirnfuzz::splitLines(data + 1, size - 1);
    if (data[0] < kIconCount)
        fuzzUnit(data[0], lines);
    else
        fuzzDescription(lines);
    return 0;
}

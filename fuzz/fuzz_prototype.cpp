// The host emulator's prototype and class-table parser. Whatever it accepts
// must be usable as the emulator uses it: defaults converted to the
// parameter's own type without undefined behaviour.
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzLines.h"
#include "Prototype.h"

using namespace tirnhost;

namespace {

volatile int iSink;
volatile float fSink;

void useDefaults(const Prototype& p)
{
    for (const Parameter& param : p.params) {
        if (!param.hasDefault)
            continue;
        if (param.type == ValueType::Int)
            iSink = int(param.defaultValue);
        else if (param.type == ValueType::Float)
            fSink = float(param.defaultValue);
    }
}

} // namespace

// The input is a table, one line per text line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<std::string> lines = tirnfuzz::splitLines(data, size);
    for (const std::string& line : lines) {
        try {
            if (!isMarker(line))
                useDefaults(parsePrototype(line, "X_"));
        } catch (const ParseError&) {
        }
    }
    std::vector<const char*> apcLines;
    for (const std::string& line : lines)
        apcLines.push_back(line.c_str());
    apcLines.push_back(nullptr);
    try {
        for (const Prototype& p : parseClassTable(apcLines.data()).prototypes)
            useDefaults(p);
    } catch (const ParseError&) {
    }
    return 0;
}

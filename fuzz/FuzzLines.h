// The text targets read their input as lines.
#ifndef FUZZLINES_H
#define FUZZLINES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tirnfuzz {

// The input split at '\n'; there is always at least one (maybe empty) line.
inline std::vector<std::string> splitLines(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> lines(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            lines.emplace_back();
        else
            lines.back() += char(data[i]);
    }
    return lines;
}

} // namespace tirnfuzz

#endif

#include "Prototype.h"

#include <cctype>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>

namespace tirnhost {

namespace {

std::string trim(const std::string& s)
{
    std::size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b])))
        ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1])))
        --e;
    return s.substr(b, e - b);
}

// One blank between words, none before a '*': "float *" reads as "float*".
std::string normalise(const std::string& s)
{
    std::string out;
    bool bBlank = false;
    for (char c : trim(s)) {
        if (std::isspace(static_cast<unsigned char>(c))) {
            bBlank = true;
            continue;
        }
        if (bBlank && c != '*' && !out.empty())
            out += ' ';
        bBlank = false;
        out += c;
    }
    return out;
}

bool isIdentifier(const std::string& s)
{
    if (s.empty() || std::isdigit(static_cast<unsigned char>(s[0])))
        return false;
    for (char c : s)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_')
            return false;
    return true;
}

[[noreturn]] void fail(const std::string& line, const std::string& what)
{
    throw ParseError(what + " in \"" + line + "\"");
}

// "int", "float", "void", "char*", "byte*", "float*", "class CImage" at the
// start of a normalised declaration; returns the length matched.
bool readType(const std::string& decl, ValueType& type, std::size_t& length)
{
    static const struct { const char* text; ValueType type; } kTypes[] = {
        {"class CImage", ValueType::Image}, {"char*", ValueType::Text},
        {"byte*", ValueType::Bytes},        {"float*", ValueType::Floats},
        {"float", ValueType::Float},        {"int", ValueType::Int},
        {"void", ValueType::Void}};
    for (const auto& t : kTypes) {
        const std::string text = t.text;
        if (decl.compare(0, text.size(), text) != 0)
            continue;
        // A whole word: "integer" is not "int".
        if (decl.size() > text.size() && text.back() != '*' && decl[text.size()] != ' ')
            continue;
        type = t.type;
        length = text.size();
        return true;
    }
    return false;
}

Parameter parseParameter(const std::string& text, const std::string& line)
{
    Parameter p;
    std::string decl = text;
    const std::size_t eq = text.find('=');
    if (eq != std::string::npos) {
        decl = text.substr(0, eq);
        const std::string value = trim(text.substr(eq + 1));
        char* pcEnd = nullptr;
        errno = 0;
        p.defaultValue = std::strtod(value.c_str(), &pcEnd);
        if (value.empty() || *pcEnd != '\0' || errno != 0)
            fail(line, "bad default \"" + value + "\"");
        p.hasDefault = true;
    }
    decl = normalise(decl);
    std::size_t length = 0;
    if (!readType(decl, p.type, length) || p.type == ValueType::Void)
        fail(line, "unknown parameter type \"" + decl + "\"");
    p.name = trim(decl.substr(length));
    if (!p.name.empty() && !isIdentifier(p.name))
        fail(line, "bad parameter name \"" + p.name + "\"");
    if (p.hasDefault) {
        if (isArray(p.type) && p.defaultValue != 0)
            fail(line, "an array's default can only be 0");
        // Checked before any conversion: an int or float conversion of a
        // value outside the target's range is undefined.
        const double d = p.defaultValue;
        if (p.type == ValueType::Int && !(d >= INT_MIN && d <= INT_MAX))
            fail(line, "an int default must lie in the int range");
        if (p.type == ValueType::Int && d != double(int(d)))
            fail(line, "an int default must be a whole number");
        if (p.type == ValueType::Float && std::isfinite(d) && std::fabs(d) > FLT_MAX)
            fail(line, "a float default must lie in the float range");
        if (p.type == ValueType::Image)
            fail(line, "an image cannot have a default");
    }
    return p;
}

bool startsWith(const std::string& s, const char* pcPrefix)
{
    return s.rfind(pcPrefix, 0) == 0;
}

} // namespace

const char* typeName(ValueType type)
{
    switch (type) {
    case ValueType::Void: return "void";
    case ValueType::Int: return "int";
    case ValueType::Float: return "float";
    case ValueType::Text: return "char*";
    case ValueType::Bytes: return "byte*";
    case ValueType::Floats: return "float*";
    case ValueType::Image: return "class CImage";
    }
    return "?";
}

bool isArray(ValueType type)
{
    return type == ValueType::Text || type == ValueType::Bytes || type == ValueType::Floats;
}

int Prototype::requiredCount() const
{
    int n = 0;
    while (n < int(params.size()) && !params[n].hasDefault)
        ++n;
    return n;
}

std::vector<const Prototype*> ClassTable::find(const std::string& sName, LineKind kind) const
{
    std::vector<const Prototype*> found;
    for (const Prototype& p : prototypes)
        if (p.kind == kind && p.name == sName)
            found.push_back(&p);
    return found;
}

bool isMarker(const std::string& line)
{
    const std::string t = trim(line);
    return !t.empty() && t.back() == ':';
}

Prototype parsePrototype(const std::string& line, const std::string& prefix)
{
    Prototype proto;
    proto.line = line;
    proto.prefix = prefix;
    const std::size_t open = line.find('('), close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open)
        fail(line, "no parameter list");
    if (!trim(line.substr(close + 1)).empty())
        fail(line, "text after the parameter list");

    // The head is "[result type] name"; the name is its last word.
    const std::string head = normalise(line.substr(0, open));
    const std::size_t blank = head.rfind(' ');
    const std::string type = blank == std::string::npos ? "" : head.substr(0, blank);
    proto.name = blank == std::string::npos ? head : head.substr(blank + 1);
    const bool bTilde = !proto.name.empty() && proto.name[0] == '~';
    if (bTilde)
        proto.name.erase(0, 1);
    static const char* const kTypeWords[] = {"int", "float", "void", "char", "byte", "class"};
    for (const char* pcWord : kTypeWords)
        if (proto.name == pcWord)
            fail(line, "no name");
    if (!isIdentifier(proto.name))
        fail(line, "bad name \"" + proto.name + "\"");

    if (type.empty()) {
        if (bTilde)
            proto.kind = LineKind::Destructor;
        else if (startsWith(proto.name, "COPY_") || startsWith(proto.name, "COMPATIBLE_") ||
                 startsWith(proto.name, "DESCRIBE_"))
            proto.kind = LineKind::PinFunction;
        else
            proto.kind = LineKind::Constructor;
        proto.result = proto.kind == LineKind::Constructor ? ValueType::Image : ValueType::Void;
    } else {
        std::size_t length = 0;
        if (bTilde || !readType(type, proto.result, length) || length != type.size())
            fail(line, "unknown result type \"" + type + "\"");
    }

    std::string params = trim(line.substr(open + 1, close - open - 1));
    if (normalise(params) == "void")
        params.clear();
    std::size_t start = 0;
    while (!params.empty() && start <= params.size()) {
        std::size_t comma = params.find(',', start);
        if (comma == std::string::npos)
            comma = params.size();
        proto.params.push_back(parseParameter(params.substr(start, comma - start), line));
        start = comma + 1;
    }
    for (std::size_t i = proto.requiredCount(); i < proto.params.size(); ++i)
        if (!proto.params[i].hasDefault)
            fail(line, "a parameter without default after one with");

    proto.exportName = prefix + (proto.kind == LineKind::Destructor ? "FREE_" : "") + proto.name;
    return proto;
}

ClassTable parseClassTable(const char* const* apcLines)
{
    ClassTable table;
    std::string prefix, firstMarker;
    for (const char* const* p = apcLines; *p; ++p) {
        const std::string line = *p;
        if (isMarker(line)) {
            prefix = trim(line);
            prefix.pop_back();
            if (firstMarker.empty())
                firstMarker = prefix;
            continue;
        }
        if (firstMarker.empty())
            fail(line, "a prototype before the first marker");
        table.prototypes.push_back(parsePrototype(line, prefix));
        if (table.prototypes.back().kind == LineKind::Constructor && table.name.empty())
            table.name = table.prototypes.back().name;
    }
    if (table.name.empty()) {
        // "CColorFilters_0_" names CColorFilters: drop "_", then "_<n>".
        std::string name = firstMarker;
        if (!name.empty() && name.back() == '_')
            name.pop_back();
        const std::size_t under = name.rfind('_');
        if (under != std::string::npos && under + 1 < name.size() &&
            name.find_first_not_of("0123456789", under + 1) == std::string::npos)
            name.erase(under);
        table.name = name;
    }
    return table;
}

} // namespace tirnhost

// The host's reading of a plug-in's class tables: marker lines, prototype
// lines, and the exported names they stand for.
#ifndef TIRNHOST_PROTOTYPE_H
#define TIRNHOST_PROTOTYPE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace tirnhost {

// Types that a prototype can name. Text, Bytes and Floats are arrays the
// caller owns (char*, byte*, float*); Image is a "class CImage" handle.
enum class ValueType { Void, Int, Float, Text, Bytes, Floats, Image };

const char* typeName(ValueType type);
bool isArray(ValueType type);

class ParseError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Parameter
{
    ValueType type = ValueType::Int;
    std::string name; // empty when the prototype gives none
    bool hasDefault = false;
    // Int and Float defaults; an array's only default is 0, the null array.
    double defaultValue = 0;
};

enum class LineKind
{
    Method,      // "int width()": prefix + name
    Constructor, // "CImage(...)": prefix + class name
    Destructor,  // "~CImage()": prefix + "FREE_" + class name
    PinFunction  // "COPY_CImage()" and the like: prefix + name
};

struct Prototype
{
    std::string line;   // as written in the table
    std::string prefix; // the marker in force, without its colon
    LineKind kind = LineKind::Method;
    ValueType result = ValueType::Void; // constructors: Image-like object handle
    std::string name;                   // method name; the class name for ~X
    std::vector<Parameter> params;
    std::string exportName;

    // Parameters that must be given (those before the first default).
    int requiredCount() const;
};

struct ClassTable
{
    std::string name; // from the constructor line, else from the first marker
    std::vector<Prototype> prototypes;

    // Every prototype of that name and kind, in table order.
    std::vector<const Prototype*> find(const std::string& name,
                                       LineKind kind = LineKind::Method) const;
};

bool isMarker(const std::string& line);
// Throws ParseError naming the line when it cannot be read.
Prototype parsePrototype(const std::string& line, const std::string& prefix);
// A null-terminated array of lines; the first must be a marker unless the
// table is empty.
ClassTable parseClassTable(const char* const* apcLines);

} // namespace tirnhost

#endif

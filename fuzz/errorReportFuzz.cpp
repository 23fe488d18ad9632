// Arbitrary message texts, values and locations through the report line: the
// placeholder scan and substitution must stay inside the text whatever it holds.
#include "vxError.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

using namespace Veltrix;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const int nValues = data[0] % 9;
    const unsigned tagSeed = data[1];
    const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
    // The text, then a function and a file name, split at the first two newlines.
    const std::size_t a = rest.find('\n');
    const std::size_t b = a == std::string::npos ? a : rest.find('\n', a + 1);
    const std::string text = rest.substr(0, a);
    const std::string function = a == std::string::npos ? "" : rest.substr(a + 1, b - a - 1);
    const std::string file = b == std::string::npos ? "" : rest.substr(b + 1);

    Errors::Template t(static_cast<Errors::ErrorEnum>(data[1] % 24));
    try {
        t.addFormatString(text.c_str());
        t.addFormatString(text.c_str());
    } catch (Exceptions::ExceptionI& e) {
        std::ostringstream os;
        os << e.error;
    }
    Errors::ErrorString es(t.id);
    es.formats = t.formats;
    for (int i = 0; i < nValues; ++i) {
        Value v;
        v.type = (tagSeed + static_cast<unsigned>(i)) % 12;
        v.intValue = i - 4;
        v.floatValue = 0.5f * static_cast<float>(i);
        v.textValue = function.c_str();
        v.stringValue = file;
        es.values[i * 3 % 7 - 1] = v;
    }
    es.function = function.c_str();
    es.file = file.c_str();
    es.line = static_cast<int>(size) - 100;
    std::ostringstream os;
    if (tagSeed & 1) {
        os << std::hex;
    }
    os << es;
    Errors::Dump(os, es.id);
    return 0;
}

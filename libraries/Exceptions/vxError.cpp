#include "vxError.h"

#include "vxHost.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <string>

VxRefCounter::~VxRefCounter() = default;

namespace Veltrix {

namespace {

// The registry's own throw sites report this file and these fixed lines,
// whatever the build directory, so that reports read the same everywhere.
constexpr const char* kRegistryFile = "libraries/Exceptions/vxError.cpp";
constexpr int kTooManyVarsLine = 33;
constexpr int kDuplicateFormatLine = 38;
constexpr int kNeedsDefaultLine = 336;
constexpr int kUnregisteredLine = 339;
constexpr int kDuplicateTemplateLine = 361;

// The part of a path after its last backslash (the whole text when there is
// none; forward slashes are deliberately not looked for).
const char* afterLastBackslash(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    const char* slash = std::strrchr(path, '\\');
    return slash != nullptr ? slash + 1 : path;
}

bool streamIsHexOrOct(const std::ostream& os) {
    const std::ios_base::fmtflags base = os.flags() & std::ios_base::basefield;
    return base == std::ios_base::hex || base == std::ios_base::oct;
}

void printComponents(std::ostream& os, const float* v, int n) {
    os << "[";
    for (int i = 0; i < n; ++i) {
        os << static_cast<double>(v[i]);
    }
    os << "]";
}

} // namespace

std::ostream& operator<<(std::ostream& os, const Value& v) {
    switch (v.type) {
    case Value::kBool:
        os << v.boolValue;
        break;
    case Value::kFloat:
        os << static_cast<double>(v.floatValue);
        break;
    case Value::kInt:
        if (streamIsHexOrOct(os)) {
            os << static_cast<unsigned long>(static_cast<std::uint32_t>(v.intValue));
        } else {
            os << static_cast<long>(v.intValue);
        }
        break;
    case Value::kVec3:
        printComponents(os, v.vec3Value, 3);
        break;
    case Value::kVec4:
        printComponents(os, v.vec4Value, 4);
        break;
    case Value::kChar:
        os << v.charValue;
        break;
    case Value::kText:
        os << "'" << (v.textValue != nullptr ? v.textValue : "") << "'";
        break;
    case Value::kString:
        os << "'" << v.stringValue << "'";
        break;
    default: // 0, the never-printed double, and unknown tags
        os << "unknown";
        break;
    }
    return os;
}

namespace Errors {

std::map<ErrorEnum, Template> gTemplates;

int Template::getNVar(const char* text) {
    int n = 0;
    if (text == nullptr) {
        return 0;
    }
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p == '@' && std::isdigit(static_cast<unsigned char>(p[1]))) {
            ++n;
        }
    }
    return n;
}

void Template::addFormatString(const char* text) {
    if (text == nullptr) {
        return;
    }
    const int n = getNVar(text);
    if (n > 6) {
        throw Exceptions::ExException::TooManyTemplateVars("unknown()", kRegistryFile,
                                                           kTooManyVarsLine, Value(n));
    }
    if (formats.count(n) != 0) {
        throw Exceptions::ExException::DuplicateTemplateFormat("unknown()", kRegistryFile,
                                                               kDuplicateFormatLine);
    }
    formats[n] = text;
}

bool hasTemplate(ErrorEnum kind) {
    return gTemplates.count(kind) != 0;
}

void addTemplate(const Template& t) {
    if (hasTemplate(t.id)) {
        throw Exceptions::ExException::DuplicateTemplate("unknown()", kRegistryFile,
                                                         kDuplicateTemplateLine);
    }
    gTemplates.emplace(t.id, t);
}

Template getTemplate(ErrorEnum kind) {
    auto it = gTemplates.find(kind);
    return it != gTemplates.end() ? it->second : Template(kind);
}

bool alreadyInitialised() {
    return !gTemplates.empty();
}

namespace {

struct KindTexts {
    ErrorEnum kind;
    const char* texts[5];
};

// In registration order. The Busy texts go in under TooSmall's number: the
// registry has always been initialised this way and plug-ins expect the
// DuplicateTemplate that results.
const KindTexts kLibraryKinds[] = {
    {TooManyItems,
     {"@1 exceeds maximum allowable '@2'", "@1 exceeds maximum allowable 'items'",
      "Too many items"}},
    {Duplicate, {"Duplicate not allowed"}},
    {NeedsDefault, {"@1 requires a default.", "A default is needed."}},
    {Ok, {"OK"}},
    {OutOfRange,
     {"@1 == @2 not in range @3 to @4", "@1 not in range @2 to @3", "Range is @1 to @2",
      "@1 out of range", "Out of range"}},
    {UnknownError, {"Unknown error"}},
    {WrongType,
     {"@1 should be @2 or @3", "@1 should be @2", "@1 required", "Wrong type supplied/requested"}},
    {Failed, {"Failed to @1 @2", "@1 failed", "Failed"}},
    {AllocationFailed,
     {"@2 failed to allocated @1 bytes", "Failed to allocated @1 bytes",
      "Failed to allocated memory"}},
    {Overflow, {"@1 overflowed with result @2.", "@1 overflowed.", "Arithmetic Overflow"}},
    {Underflow, {"@1 arithmetic Underflow", "Arithmetic Underflow"}},
    {Undefined, {"@1 is undefined", "Item was Undefined"}},
    {NullPointer, {"@1 is null", "Null pointer"}},
    {NotRegistered, {"@1 @2 is not registered", "@1 is not registered", "Not registered"}},
    {NotSupported, {"@1 does/do not support @2", "@1 are/is not supported", "Not supported"}},
    {MissingItem, {"@1 is missing @2", "@1 is missing.", "Missing item."}},
    {UnknownItem, {"@1 is an unknown @2.", "@1 is an unknown.", "Missing item."}},
    {BadValue, {"@1 has a bad value @2.", "@1 is a bad value.", "Bad value."}},
    {TooBig, {"@1 is greater than @2.", "@1 is too big.", "Too big."}},
    {TooSmall, {"@1 is less than @2.", "@1 is too small.", "Too small."}},
    {TooSmall,
     {"@1 is busy doing @2.", "@1 is busy doing something else.", "Busy doing something else."}},
};

} // namespace

void Initialise() {
    if (alreadyInitialised()) {
        return;
    }
    for (const KindTexts& row : kLibraryKinds) {
        try {
            Template t(row.kind);
            for (const char* text : row.texts) {
                t.addFormatString(text);
            }
            addTemplate(t);
        } catch (Exceptions::ExceptionI& e) {
            Exceptions::recordCatch(e, kRegistryFile, __LINE__);
            throw;
        }
    }
    for (int k = Ok; k <= Busy; ++k) {
        const ErrorEnum kind = static_cast<ErrorEnum>(k);
        if (!hasTemplate(kind)) {
            throw Exceptions::ExException::UnregisteredErrorEnum("unknown()", kRegistryFile,
                                                                 kUnregisteredLine, Value(k));
        }
        if (gTemplates.at(kind).formats.count(0) == 0) {
            throw Exceptions::ExException::ErrorEnumNeedsDefault("unknown()", kRegistryFile,
                                                                 kNeedsDefaultLine, Value(k));
        }
    }
}

ErrorString::ErrorString(ErrorEnum kind) : id(UnknownError), initialEnum(kind) {}

namespace {

// The message text with each @d replaced by value d - 1. A missing value is
// added as an empty one, which prints "unknown"; an "@" without a digit after
// it is dropped.
void printSubstituted(std::ostream& os, const char* text, std::map<int, Value>& values) {
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p != '@') {
            os << *p;
        } else if (std::isdigit(static_cast<unsigned char>(p[1]))) {
            ++p;
            os << values[*p - '0' - 1];
        }
    }
}

} // namespace

std::ostream& operator<<(std::ostream& os, ErrorString& es) {
    os << "[ Err " << std::right << std::setfill('0') << std::setw(4);
    if (streamIsHexOrOct(os)) {
        os << static_cast<unsigned>(es.id);
    } else {
        os << static_cast<int>(es.id);
    }
    os << "]  ";

    if (es.function != nullptr && std::strcmp(es.function, "unknown()") != 0) {
        os << std::setfill(' ') << std::left << std::setw(30);
        const size_t length = std::strlen(es.function);
        if (length > 30) {
            os << std::string("...") + (es.function + length - 27);
        } else {
            os << es.function;
        }
        os << "  ";
    }

    if (es.file != nullptr) {
        os << std::setfill(' ') << std::right;
        if (std::strlen(es.file) > 20) {
            // Not shortened, and the stream stays left-justified: reports have
            // always looked like this.
            os << "..." << es.file << std::left;
        } else {
            os << std::setw(20) << es.file;
        }
        if (es.line != 0) {
            // Right-justified digits without disturbing the justification the
            // file left behind.
            const std::ios_base::fmtflags flags = os.flags();
            os << "(" << std::right << std::setfill('0') << std::setw(4) << es.line;
            os.flags(flags);
            os << ") ";
        }
    }

    const int n = static_cast<int>(es.values.size());
    auto text = es.formats.find(n);
    if (text != es.formats.end() && text->second != nullptr) {
        os << " - ";
        printSubstituted(os, text->second, es.values);
    } else {
        auto fallback = es.formats.find(0);
        os << '"';
        if (fallback != es.formats.end() && fallback->second != nullptr) {
            os << fallback->second;
        } else {
            os << "Unregistered Error (" << static_cast<int>(es.id) << ")";
        }
        os << '"';
    }
    os << "  (" << (es.name != nullptr ? es.name : "") << ")" << std::endl;
    return os;
}

void Dump(std::ostream& os, ErrorEnum kind) {
    ErrorString es(UnknownError);
    const Template t = getTemplate(kind);
    es.id = t.id;
    es.formats = t.formats;
    os << es << std::endl;
}

} // namespace Errors

namespace Exceptions {

ExceptionI::ExceptionI(const char* function, const char* file, int line, Errors::ErrorEnum kind)
    : error(Errors::UnknownError) {
    refCount = 1;
    const Errors::Template t = Errors::getTemplate(kind);
    error.id = t.id;
    error.formats = t.formats;
    error.function = function;
    error.file = afterLastBackslash(file);
    error.line = line;
}

ExceptionI::ExceptionI(const char* function, const char* file, int line, Errors::ErrorEnum kind,
                       const Value& value)
    : ExceptionI(function, file, line, kind) {
    error.values[0] = value;
}

ExceptionI::ExceptionI(const ExceptionI& other) = default;

ExceptionI::~ExceptionI() = default;

namespace ExException {
ExException::~ExException() = default;
TooManyTemplateVars::~TooManyTemplateVars() = default;
DuplicateTemplateFormat::~DuplicateTemplateFormat() = default;
DuplicateTemplate::~DuplicateTemplate() = default;
UnregisteredErrorEnum::~UnregisteredErrorEnum() = default;
ErrorEnumNeedsDefault::~ErrorEnumNeedsDefault() = default;
} // namespace ExException

namespace Stack {

WorkerStacks gStack;

const std::map<int, Errors::ErrorString>* WorkerStacks::entries(int worker) const {
    const std::map<int, Errors::ErrorString>* found = nullptr;
    if (worker >= 0 && worker < kMaxWorkers) {
        found = &slots_[worker];
    } else {
        std::lock_guard<std::mutex> hold(othersLock_);
        auto it = others_.find(worker);
        found = it == others_.end() ? nullptr : &it->second;
    }
    return found != nullptr && !found->empty() ? found : nullptr;
}

std::map<int, Errors::ErrorString>* WorkerStacks::slot(int worker) {
    if (worker >= 0 && worker < kMaxWorkers) {
        return &slots_[worker];
    }
    // Nodes of a std::map never move, so the list stays valid for its worker
    // while others are added.
    std::lock_guard<std::mutex> hold(othersLock_);
    return &others_[worker];
}

int WorkerStacks::workerCount() const {
    int n = 0;
    forEachWorker([&n](int, const std::map<int, Errors::ErrorString>&) { ++n; });
    return n;
}

void WorkerStacks::clear() {
    for (auto& slot : slots_) {
        slot.clear();
    }
    std::lock_guard<std::mutex> hold(othersLock_);
    others_.clear();
}

void stackPush(Errors::ErrorString& es, const char* function, const char* file, int line) {
    std::map<int, Errors::ErrorString>* entries = gStack.slot(VxMpGetID());
    entries->emplace(static_cast<int>(entries->size()), es);
    es.function = function;
    es.line = line;
    es.file = afterLastBackslash(file);
}

void stackClear() {
    gStack.clear();
}

void stackDump(std::ostream& os) {
    static const char* const kRule = "----------------------------------------";
    os << std::setw(2) << std::setfill('0') << std::right;
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char when[64] = "";
    if (localtime_r(&now, &local) == nullptr || asctime_r(&local, when) == nullptr) {
        std::strcpy(when, "(time unknown)\n");
    }
    os << when << std::endl;
    os << kRule << std::endl;
    const bool severalWorkers = gStack.workerCount() > 1;
    gStack.forEachWorker(
        [&os, severalWorkers](int worker, std::map<int, Errors::ErrorString>& entries) {
            if (severalWorkers) {
                os << "Thread " << worker << std::endl << kRule << std::endl;
            }
            int number = static_cast<int>(entries.size());
            for (auto it = entries.rbegin(); it != entries.rend(); ++it, --number) {
                os << number << ". " << it->second;
            }
            os << std::endl;
        });
    os << std::ends;
}

} // namespace Stack

void recordCatch(ExceptionI& e, const char* file, int line) {
    e.error.name = e.getName();
    e.error.base = e.getBase();
    Stack::stackPush(e.error, "unknown()", file, line);
}

} // namespace Exceptions
} // namespace Veltrix

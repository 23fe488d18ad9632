// vxError.h - the library's error vocabulary and its exceptions.
//
// Four pieces, all in namespace Veltrix:
//
//  - Value: one argument of an error message (a number, a vector, a text).
//  - Errors: the process-wide registry of error kinds (ErrorEnum), each with a
//    Template of message texts holding @1..@9 placeholders, one text per
//    placeholder count; and ErrorString, an error instance (kind, texts,
//    values, location) that prints itself as one report line:
//
//        [ Err 0002]                 vxFoo.cpp(0061)  - 7 out of range  (TooBig)
//
//  - Exceptions: ExceptionI, the base of every exception a plug-in throws; the
//    ExException family the registry itself throws; and Stack, a per-worker
//    record of every level an exception passed through.
//  - Errors::Initialise, which registers the library's 21 kinds.
//
// How an effect uses it:
//
//     // throw site: the concrete class, by value
//     VX_THROW_VALUE(MyBadValue, Veltrix::Value(7));
//
//     // a level that wants to be recorded: catch by reference, record, re-throw
//     try { ... } catch (Veltrix::Exceptions::ExceptionI& e) { VX_RETHROW(e); }
//
//     // the top level: report, dump the stack, clear it for the next error
//     catch (Veltrix::Exceptions::ExceptionI& e) {
//         std::cerr << e.error;
//         Veltrix::Exceptions::Stack::stackDump(std::cerr);
//         Veltrix::Exceptions::Stack::stackClear();
//     }
//
// Threading: the registry is not locked: run Initialise before any fork. Each
// worker of a fork records into its own list of the stack (keyed by
// VxMpGetID, whatever number that is), so workers may throw, catch and push
// at the same time; a push for a worker id outside 0 to 1023 takes a short
// lock to find its list. Dump and clear the stack outside forks.
#ifndef VX_ERROR_H
#define VX_ERROR_H

#include "vxExport.h"
#include "vxRefCounter.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

namespace Veltrix {

// ---------------------------------------------------------------------------
// Value
// ---------------------------------------------------------------------------

// A tagged value; `type` says which member is meaningful.
struct VX_API Value {
    enum Type : unsigned {
        kUnknown = 0,
        kBool = 1,
        kDouble = 2, // held but never printed: it prints "unknown"
        kFloat = 3,
        kInt = 4,
        kVec3 = 5,
        kVec4 = 6,
        kChar = 7,
        kText = 8,   // a C string, not owned
        kString = 9, // an owned copy
    };

    Value() = default;
    explicit Value(bool v) : type(kBool), boolValue(v) {}
    explicit Value(double v) : type(kDouble), doubleValue(v) {}
    explicit Value(float v) : type(kFloat), floatValue(v) {}
    explicit Value(int v) : type(kInt), intValue(v) {}
    Value(float x, float y, float z) : type(kVec3), vec3Value{x, y, z} {}
    Value(float x, float y, float z, float w) : type(kVec4), vec4Value{x, y, z, w} {}
    explicit Value(char v) : type(kChar), charValue(v) {}
    explicit Value(const char* v) : type(kText), textValue(v) {}
    explicit Value(std::string v) : type(kString), stringValue(std::move(v)) {}

    unsigned type = kUnknown;
    float floatValue = 0;
    double doubleValue = 0;
    int intValue = 0;
    bool boolValue = false;
    const char* textValue = nullptr;
    char charValue = 0;
    float vec3Value[3] = {};
    float vec4Value[4] = {};
    std::string stringValue;
    std::uint64_t opaque[2] = {}; // carried along by copies, otherwise unused
};

// Prints the value as error messages show it: bools and numbers through the
// stream's own formatting (an int as the unsigned 32-bit pattern when the
// stream is in hex or oct), vectors as "[" components "]" with nothing
// between them, texts and strings in single quotes, a char as itself, and
// "unknown" for tags 0, 2 and anything above 9.
VX_API std::ostream& operator<<(std::ostream& os, const Value& v);

namespace Errors {

// ---------------------------------------------------------------------------
// Error kinds and their registry
// ---------------------------------------------------------------------------

enum ErrorEnum : int {
    Ok = 0,
    UnknownError = 1,
    OutOfRange = 2,
    WrongType = 3,
    Failed = 4,
    AllocationFailed = 5,
    Overflow = 6,
    Underflow = 7,
    Undefined = 8,
    NullPointer = 9,
    TooManyItems = 10,
    Duplicate = 11,
    NotRegistered = 12,
    NeedsDefault = 13,
    NotSupported = 14,
    MissingItem = 15,
    UnknownItem = 16,
    BadValue = 17,
    TooBig = 18,
    TooSmall = 19,
    Busy = 20,
};

// The message texts of one kind, keyed by their placeholder count. Texts are
// not copied: they must outlive the registry (string literals, in practice).
struct VX_API Template {
    explicit Template(ErrorEnum kind = UnknownError) : id(kind) {}

    // The number of placeholders in `text`: every "@" followed by a digit
    // counts, repeats included. A null text has none.
    static int getNVar(const char* text);

    // Adds `text` under its placeholder count. Throws TooManyTemplateVars for
    // more than six placeholders and DuplicateTemplateFormat when the count is
    // taken. A null text is ignored.
    void addFormatString(const char* text);

    ErrorEnum id;
    std::map<int, const char*> formats;
};

// The registry: one template per registered kind. Registry changes are not
// synchronised; make them outside forks.
extern VX_API std::map<ErrorEnum, Template> gTemplates;

VX_API bool hasTemplate(ErrorEnum kind);

// Registers a template; throws DuplicateTemplate when its kind is registered.
VX_API void addTemplate(const Template& t);

// A copy of the kind's template, or one with no texts when it is unregistered.
VX_API Template getTemplate(ErrorEnum kind);

// True once anything is registered.
VX_API bool alreadyInitialised();

// Registers the library's kinds 0 to 19. The texts of Busy are registered
// under 19, the number of TooSmall, so the first call ends by throwing
// DuplicateTemplate (recorded on the stack first) and kind 20 stays
// unregistered; callers expect that exception. Later calls do nothing.
VX_API void Initialise();

// ---------------------------------------------------------------------------
// ErrorString
// ---------------------------------------------------------------------------

// One error: its kind's texts, the values for their placeholders (key =
// placeholder number - 1) and where it happened.
struct VX_API ErrorString {
    // id starts as UnknownError with no texts; `kind` is kept in initialEnum.
    explicit ErrorString(ErrorEnum kind);

    ErrorEnum id;
    std::map<int, const char*> formats;
    std::map<int, Value> values;
    const char* function = nullptr; // not owned; null when unset
    const char* file = nullptr;     // not owned; null when unset
    int line = 0;                   // 0 when unset
    const char* name = "";          // the exception's class, set at a catch site
    const char* base = "";          // its base class, set at a catch site
    ErrorEnum initialEnum;
};

// Prints the report line, ending in a newline:
//
//   "[ Err " kind(4 digits) "]  " function(30, left; "..." + last 27 when longer;
//   left out when unset or "unknown()") "  " file(20, right; longer files print
//   "..." then the whole name and leave the stream left-justified) "(" line(4
//   digits) ") " then " - " text, with @d replaced by value d-1, when the kind
//   has a text for exactly as many values as given; else the default text (or
//   "Unregistered Error (" kind ")") in double quotes; then "  (" name ")".
//
// A placeholder with no value prints "unknown" and, as it always has, adds an
// empty value under that key. The stream's fill and justification are left
// as the fields set them.
VX_API std::ostream& operator<<(std::ostream& os, ErrorString& es);

// Prints the kind's report line with no values and no location, then one
// more newline.
VX_API void Dump(std::ostream& os, ErrorEnum kind);

} // namespace Errors

// ---------------------------------------------------------------------------
// Exceptions
// ---------------------------------------------------------------------------

namespace Exceptions {

// The base of every exception a plug-in throws. Throw by value, catch by
// reference. The constructors take the throw site: the function text (the
// library uses "unknown()"), the file and the line. Of the file only the part
// after the last backslash is kept; forward slashes are not looked for.
class VX_API ExceptionI : public VxRefCounter {
public:
    ExceptionI(const char* function, const char* file, int line, Errors::ErrorEnum kind);
    ExceptionI(const char* function, const char* file, int line, Errors::ErrorEnum kind,
               const Value& value);
    ExceptionI(const ExceptionI& other);
    ~ExceptionI() override;

    virtual Errors::ErrorEnum err() const = 0;
    virtual const char* getName() const = 0;
    virtual const char* getBase() const = 0;

    Errors::ErrorString error;  // the error: kind texts, values, latest location
    std::uint64_t reserved = 0; // carried along by copies, otherwise unused
};

// Exceptions raised by the registry itself. ExException is both this
// namespace and the abstract class in it.
namespace ExException {

class VX_API ExException : public ExceptionI {
public:
    using ExceptionI::ExceptionI;
    ~ExException() override;
};

// Declares a registry exception with its fixed kind and name.
#define VX_DECLARE_EX_EXCEPTION(Name, Kind)                                                        \
    class VX_API Name : public ExException {                                                       \
    public:                                                                                        \
        Name(const char* function, const char* file, int line)                                     \
            : ExException(function, file, line, Kind) {}                                           \
        Name(const char* function, const char* file, int line, const Value& value)                 \
            : ExException(function, file, line, Kind, value) {}                                    \
        ~Name() override;                                                                          \
        Errors::ErrorEnum err() const override { return Kind; }                                    \
        const char* getName() const override { return #Name; }                                     \
        const char* getBase() const override { return "ExException"; }                             \
    }

VX_DECLARE_EX_EXCEPTION(TooManyTemplateVars, Errors::TooManyItems);
VX_DECLARE_EX_EXCEPTION(DuplicateTemplateFormat, Errors::Duplicate);
VX_DECLARE_EX_EXCEPTION(DuplicateTemplate, Errors::Duplicate);
VX_DECLARE_EX_EXCEPTION(UnregisteredErrorEnum, Errors::NotRegistered);
VX_DECLARE_EX_EXCEPTION(ErrorEnumNeedsDefault, Errors::NeedsDefault);

#undef VX_DECLARE_EX_EXCEPTION

} // namespace ExException

// The exception stack: per worker, every level an exception passed through.
namespace Stack {

// Per-worker lists of recorded errors, in push order, for every worker id
// (VxMpGetID, which SpMpSetSize's scaling can make any int). Ids 0 to
// kMaxWorkers - 1 each own a fixed slot, so the workers of a fork record
// without touching each other or any lock. Other ids get their list on their
// first push, in a map guarded by a lock; once made, a list stays where it is
// and only its worker writes to it.
class VX_API WorkerStacks {
public:
    static constexpr int kMaxWorkers = 1024;

    // The worker's entries keyed by depth (0 = first push); null when the
    // worker has none.
    const std::map<int, Errors::ErrorString>* entries(int worker) const;

    // The worker's list for recording, made empty if it has none.
    std::map<int, Errors::ErrorString>* slot(int worker);

    // How many workers have entries.
    int workerCount() const;

    // Calls visit(id, entries) for every worker with entries, in ascending id
    // order (negative ids first).
    template <class Visit>
    void forEachWorker(Visit visit) {
        eachWorker(*this, visit);
    }
    template <class Visit>
    void forEachWorker(Visit visit) const {
        eachWorker(*this, visit);
    }

    void clear();

private:
    template <class Self, class Visit>
    static void eachWorker(Self& self, Visit& visit);

    std::map<int, Errors::ErrorString> slots_[kMaxWorkers];
    std::map<int, std::map<int, Errors::ErrorString>> others_; // ids outside the slots
    mutable std::mutex othersLock_;
};

template <class Self, class Visit>
void WorkerStacks::eachWorker(Self& self, Visit& visit) {
    std::lock_guard<std::mutex> hold(self.othersLock_);
    auto other = self.others_.begin();
    for (; other != self.others_.end() && other->first < 0; ++other)
        if (!other->second.empty())
            visit(other->first, other->second);
    for (int worker = 0; worker < kMaxWorkers; ++worker)
        if (!self.slots_[worker].empty())
            visit(worker, self.slots_[worker]);
    for (; other != self.others_.end(); ++other)
        if (!other->second.empty())
            visit(other->first, other->second);
}

extern VX_API WorkerStacks gStack;

// Records a copy of `es` for the calling worker, then moves es's location to
// this catch site (function, line, and the file after its last backslash):
// each entry thus shows where the level before it recorded the error.
VX_API void stackPush(Errors::ErrorString& es, const char* function, const char* file, int line);

// Removes every worker's entries.
VX_API void stackClear();

// Prints the local time, a rule of 40 hyphens, then per worker (with a
// "Thread " heading when more than one worker has entries) its entries newest
// first, numbered from the count down to 1; ends with a null character.
VX_API void stackDump(std::ostream& os);

} // namespace Stack

// Records a catch site: sets the error's name and base from the exception and
// pushes it on the stack with the function text "unknown()".
VX_API void recordCatch(ExceptionI& e, const char* file, int line);

} // namespace Exceptions
} // namespace Veltrix

// Throws exception class `Class` built at this site.
#define VX_THROW(Class) throw Class("unknown()", __FILE__, __LINE__)
#define VX_THROW_VALUE(Class, value) throw Class("unknown()", __FILE__, __LINE__, value)

// Inside `catch (Veltrix::Exceptions::ExceptionI& e)`: records this level on the
// stack and re-throws the same exception.
#define VX_RETHROW(e)                                                                              \
    do {                                                                                           \
        ::Veltrix::Exceptions::recordCatch((e), __FILE__, __LINE__);                               \
        throw;                                                                                     \
    } while (0)

#endif

// Error values, the registry, the report line and the exception stack.
#include "vxError.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>

namespace {

using namespace Veltrix;
using namespace Veltrix::Errors;
using namespace Veltrix::Exceptions;

// The library's kinds, with the DuplicateTemplate of the first call absorbed.
void initialiseRegistry() {
    try {
        Initialise();
    } catch (ExException::DuplicateTemplate&) {
    }
    Stack::stackClear();
}

template <typename T>
std::string printed(T&& x, std::ios_base::fmtflags base = std::ios_base::dec) {
    std::ostringstream os;
    os.setf(base, std::ios_base::basefield);
    os << x;
    return os.str();
}

ErrorString errorOf(ErrorEnum kind, std::map<int, Value> values = {}) {
    ErrorString es(UnknownError);
    es.id = kind;
    es.formats = getTemplate(kind).formats;
    es.values = std::move(values);
    return es;
}

TEST(ErrorValue, PrintsEachTagAsReportsShowIt) {
    EXPECT_EQ(printed(Value()), "unknown");
    EXPECT_EQ(printed(Value(true)), "1");
    EXPECT_EQ(printed(Value(2.5)), "unknown"); // doubles are never printed
    EXPECT_EQ(printed(Value(2.5f)), "2.5");
    EXPECT_EQ(printed(Value(-7)), "-7");
    EXPECT_EQ(printed(Value(-1), std::ios_base::hex), "ffffffff");
    EXPECT_EQ(printed(Value(8), std::ios_base::oct), "10");
    EXPECT_EQ(printed(Value(1.0f, 2.0f, 3.0f)), "[123]");
    EXPECT_EQ(printed(Value(1.5f, 2.0f, -3.0f, 4.0f)), "[1.52-34]");
    EXPECT_EQ(printed(Value('q')), "q");
    EXPECT_EQ(printed(Value("text")), "'text'");
    Value odd(3);
    odd.type = 10;
    EXPECT_EQ(printed(odd), "unknown");
    const Value owned(std::string("kept")); // copies keep every member
    EXPECT_EQ(printed(Value(owned)), "'kept'");
}

TEST(ErrorRegistry, TemplatesCountAndRefusePlaceholders) {
    EXPECT_EQ(Template::getNVar("@1 and @1 and @9"), 3);
    EXPECT_EQ(Template::getNVar("@a @ @@2 trailing@"), 1);
    EXPECT_EQ(Template::getNVar(nullptr), 0);

    Template t(BadValue);
    t.addFormatString("@1@2@3@4@5@6"); // six is the most
    t.addFormatString(nullptr);        // ignored
    try {
        t.addFormatString("@1@2@3@4@5@6@7");
        FAIL() << "seven placeholders accepted";
    } catch (ExException::TooManyTemplateVars& e) {
        EXPECT_EQ(std::make_tuple(e.err(), e.error.values.at(0).intValue, e.error.line),
                  std::make_tuple(TooManyItems, 7, 33));
        EXPECT_STREQ(e.error.file, "libraries/Exceptions/vxError.cpp");
        EXPECT_STREQ(e.error.function, "unknown()");
    }
    try {
        t.addFormatString("@4 @4 @4 @4 @4 @4");
        FAIL() << "a second six-placeholder text accepted";
    } catch (ExException::DuplicateTemplateFormat& e) {
        EXPECT_EQ(std::make_tuple(e.err(), e.error.line, e.error.values.size()),
                  std::make_tuple(Duplicate, 38, size_t(0)));
    }
    EXPECT_EQ(t.formats.size(), 1u);
}

TEST(ErrorRegistry, InitialiseRegistersUpToTooSmallThenRefusesBusy) {
    EXPECT_FALSE(alreadyInitialised());
    EXPECT_EQ(getTemplate(OutOfRange).formats.size(), 0u);
    EXPECT_EQ(getTemplate(OutOfRange).id, OutOfRange);
    try {
        Initialise();
        FAIL() << "the first Initialise must end in DuplicateTemplate";
    } catch (ExException::DuplicateTemplate& e) {
        EXPECT_EQ(e.err(), Duplicate);
        // Recorded once on the way out, at the registry's catch site.
        const auto* entries = Stack::gStack.entries(0);
        ASSERT_NE(entries, nullptr);
        ASSERT_EQ(entries->size(), 1u);
        EXPECT_EQ(entries->at(0).line, 361);
        EXPECT_STREQ(entries->at(0).name, "DuplicateTemplate");
        EXPECT_STREQ(entries->at(0).base, "ExException");
        EXPECT_STREQ(e.error.file, "libraries/Exceptions/vxError.cpp");
        EXPECT_NE(e.error.line, 361);
    }
    Initialise(); // a second call returns at once
    for (int k = Ok; k <= TooSmall; ++k) {
        EXPECT_TRUE(hasTemplate(static_cast<ErrorEnum>(k))) << k;
    }
    EXPECT_FALSE(hasTemplate(Busy));
    EXPECT_STREQ(getTemplate(TooSmall).formats.at(0), "Too small.");
    EXPECT_STREQ(getTemplate(UnknownItem).formats.at(0), "Missing item.");
    EXPECT_EQ(getTemplate(OutOfRange).formats.size(), 5u);
    EXPECT_THROW(addTemplate(Template(Ok)), ExException::DuplicateTemplate);
}

TEST(ErrorReport, FieldsTextsAndPlaceholders) {
    initialiseRegistry();
    // The worked example: "unknown()" left out, the file right-justified in 20.
    ErrorString es = errorOf(OutOfRange, {{0, Value(7)}});
    es.function = "unknown()";
    es.file = "F.cpp";
    es.line = 61;
    es.name = "N";
    EXPECT_EQ(printed(es),
              "[ Err 0002]  " + std::string(15, ' ') + "F.cpp(0061)  - 7 out of range  (N)\n");

    es = errorOf(OutOfRange, {{0, Value(1)}, {1, Value(2)}});
    es.function = "a_function_name_of_31_chars_xyz"; // "..." + the last 27
    es.name = "X";
    EXPECT_EQ(printed(es),
              "[ Err 0002]  ...nction_name_of_31_chars_xyz   - Range is 1 to 2  (X)\n");
    es.function = "a_function_name_of_31_chars_xy"; // 30 fits
    EXPECT_EQ(printed(es),
              "[ Err 0002]  a_function_name_of_31_chars_xy   - Range is 1 to 2  (X)\n");
    es.function = "short()";
    es.file = "a_file_of_21_chars.cc"; // not shortened; leaves the stream left-justified
    es.line = 7;
    std::ostringstream os;
    os << es;
    EXPECT_EQ(os.str(), "[ Err 0002]  short()" + std::string(25, ' ') +
                            "...a_file_of_21_chars.cc(0007)  - Range is 1 to 2  (X)\n");
    EXPECT_TRUE(os.flags() & std::ios_base::left);

    // No text for two values: the default, quoted, and no " - ". No texts at all.
    ErrorString two = errorOf(Undefined, {{0, Value(1)}, {1, Value(2)}});
    EXPECT_EQ(printed(two), "[ Err 0008]  \"Item was Undefined\"  ()\n");
    EXPECT_EQ(printed(errorOf(Busy)), "[ Err 0020]  \"Unregistered Error (20)\"  ()\n");
    EXPECT_EQ(printed(errorOf(Busy), std::ios_base::hex),
              "[ Err 0014]  \"Unregistered Error (14)\"  ()\n");

    // "@" without a digit is dropped; a missing value prints "unknown" and stays.
    Template odd(NotSupported);
    odd.addFormatString("@x @1/@0 @3@");
    ErrorString sub(UnknownError);
    sub.formats = odd.formats;
    sub.values = {{0, Value("v")}, {1, Value(1)}, {5, Value(9)}}; // three values: the 3-text
    EXPECT_EQ(printed(sub), "[ Err 0001]   - x 'v'/unknown unknown  ()\n");
    EXPECT_EQ(sub.values.size(), 5u); // keys -1 and 2 were added

    std::ostringstream dump;
    Dump(dump, TooBig);
    EXPECT_EQ(dump.str(), "[ Err 0018]   - Too big.  ()\n\n");
}

struct BadThing : ExceptionI {
    using ExceptionI::ExceptionI;
    BadThing(const char* function, const char* file, int line, const Value& v)
        : ExceptionI(function, file, line, BadValue, v) {}
    ErrorEnum err() const override { return BadValue; }
    const char* getName() const override { return "BadThing"; }
    const char* getBase() const override { return "ExceptionI"; }
};

int gThrowLine = 0, gInnerCatchLine = 0;

void innerLevel() {
    try {
        gThrowLine = __LINE__ + 1;
        VX_THROW_VALUE(BadThing, Value("width"));
    } catch (ExceptionI& e) {
        gInnerCatchLine = __LINE__ + 1;
        VX_RETHROW(e);
    }
}

TEST(ErrorStack, LevelsAreRecordedAndDumpedNewestFirst) {
    initialiseRegistry();
    // Only the part after the last backslash is kept; forward slashes stay.
    EXPECT_STREQ(BadThing("f()", "C:\\src\\effect\\blur.cpp", 12, BadValue).error.file, "blur.cpp");
    BadThing posixPath("f()", "src/effect/blur.cpp", 12, Value());
    EXPECT_STREQ(posixPath.error.file, "src/effect/blur.cpp");
    EXPECT_EQ(BadThing(posixPath).refCount, 1);

    int outerCatchLine = 0;
    try {
        try {
            innerLevel();
        } catch (ExceptionI& e) {
            outerCatchLine = __LINE__ + 1;
            VX_RETHROW(e);
        }
    } catch (ExceptionI& e) {
        EXPECT_EQ(e.error.line, outerCatchLine); // the latest catch site
        const auto* entries = Stack::gStack.entries(0);
        ASSERT_NE(entries, nullptr);
        ASSERT_EQ(entries->size(), 2u);
        EXPECT_EQ(entries->at(0).line, gThrowLine); // each entry: the previous level
        EXPECT_EQ(entries->at(1).line, gInnerCatchLine);
        EXPECT_STREQ(entries->at(1).name, "BadThing");
        EXPECT_STREQ(entries->at(1).base, "ExceptionI");

        std::ostringstream os;
        Stack::stackDump(os);
        const std::string dump = os.str();
        const std::regex shape("^... ... [ 0-9][0-9] ..:..:.. [0-9]{4}\n\n" + std::string(40, '-') +
                               "\n2\\. \\[ Err 0017\\].*'width' is a bad value\\.  \\(BadThing\\)\n"
                               "1\\. \\[ Err 0017\\].*\n\n");
        EXPECT_TRUE(std::regex_match(dump.substr(0, dump.size() - 1), shape)) << dump;
        EXPECT_EQ(dump.back(), '\0');
        EXPECT_EQ(dump.find("Thread"), std::string::npos); // one worker: no headings
    }
    Stack::stackClear();
    EXPECT_EQ(Stack::gStack.workerCount(), 0);
    EXPECT_EQ(Stack::gStack.entries(0), nullptr);
}

} // namespace

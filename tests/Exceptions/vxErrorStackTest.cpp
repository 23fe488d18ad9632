// Every worker of a fork throws, catches and records at the same time: each
// writes only its own slot of the stack.
#include "vxError.h"
#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using namespace Veltrix;
using namespace Veltrix::Exceptions;

struct BusyError : ExceptionI {
    BusyError(const char* function, const char* file, int line, const Value& v)
        : ExceptionI(function, file, line, Errors::Busy, v) {}
    Errors::ErrorEnum err() const override { return Errors::Busy; }
    const char* getName() const override { return "BusyError"; }
    const char* getBase() const override { return "ExceptionI"; }
};

constexpr int kRounds = 200;

void throwCatchRecord(int* caught) {
    const int id = VxMpGetID();
    for (int round = 0; round < kRounds; ++round) {
        try {
            try {
                VX_THROW_VALUE(BusyError, Value(id));
            } catch (ExceptionI& e) {
                VX_RETHROW(e);
            }
        } catch (ExceptionI& e) {
            if (id >= 0 && id < 4) {
                caught[id] += e.error.values.at(0).intValue == id ? 1 : 0;
            }
        }
    }
}

TEST(ErrorStackThreads, WorkersRecordIntoTheirOwnSlots) {
    const int n = 4;
    VxStandaloneHostSetWorkers(n);
    SpMpSetSize(n, 1, n);
    int caught[n] = {};
    VxMpFork(reinterpret_cast<VxMpWork>(&throwCatchRecord), 1, caught);

    EXPECT_EQ(Stack::gStack.workerCount(), n);
    std::ostringstream os;
    Stack::stackDump(os);
    const std::string dump = os.str();
    for (int id = 0; id < n; ++id) {
        EXPECT_EQ(caught[id], kRounds);
        ASSERT_NE(Stack::gStack.entries(id), nullptr);
        EXPECT_EQ(Stack::gStack.entries(id)->size(), static_cast<size_t>(kRounds));
        EXPECT_NE(dump.find("Thread " + std::to_string(id) + "\n" + std::string(40, '-')),
                  std::string::npos);
    }
    EXPECT_NE(dump.find("\n200. [ Err 0020]"), std::string::npos);
    Stack::stackClear();
}

// Scaled worker ids can be any number: every one is recorded, concurrently,
// and dumped in id order.
TEST(ErrorStackThreads, EveryWorkerIdIsRecorded) {
    VxStandaloneHostSetWorkers(4);
    SpMpSetSize(2, 1, 4000); // workers 0 .. 3 become ids 0, 2000, 4000, 6000
    int caught[4] = {};
    VxMpFork(reinterpret_cast<VxMpWork>(&throwCatchRecord), 1, caught);
    EXPECT_EQ(Stack::gStack.workerCount(), 4);
    std::ostringstream os;
    Stack::stackDump(os);
    const std::string dump = os.str();
    std::size_t at = 0;
    for (int id : {0, 2000, 4000, 6000}) {
        ASSERT_NE(Stack::gStack.entries(id), nullptr);
        EXPECT_EQ(Stack::gStack.entries(id)->size(), static_cast<size_t>(kRounds));
        const std::size_t heading =
            dump.find("Thread " + std::to_string(id) + "\n" + std::string(40, '-') + "\n200. ");
        ASSERT_NE(heading, std::string::npos) << id;
        EXPECT_GE(heading, at);
        at = heading;
    }
    Stack::stackClear();
    EXPECT_EQ(Stack::gStack.workerCount(), 0);
    EXPECT_EQ(Stack::gStack.entries(4000), nullptr);

    // A negative worker count scales host processor 1 to id -1, dumped first.
    VxStandaloneHostSetWorkers(2);
    SpMpSetSize(1, 1, -1);
    VxMpFork(reinterpret_cast<VxMpWork>(&throwCatchRecord), 1, caught);
    std::ostringstream negative;
    Stack::stackDump(negative);
    const std::size_t minusOne = negative.str().find("Thread -1\n");
    EXPECT_NE(minusOne, std::string::npos);
    EXPECT_LT(minusOne, negative.str().find("Thread 0\n"));
    Stack::stackClear();
}

} // namespace

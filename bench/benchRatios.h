// Collects benchmark times as they are reported, then prints ratios between
// named benchmarks: ours against the anchors measured in the same run.
#ifndef BENCH_RATIOS_H
#define BENCH_RATIOS_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

// Registers one and two workers (or threads) of a whole-image pass, timed by
// the wall clock, with the median of five repetitions standing for each: on a
// small shared machine single runs of such passes swing too much.
inline void OneAndTwoWorkers(benchmark::internal::Benchmark* b) {
    b->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);
    b->ReportAggregatesOnly(true);
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            // With repetitions the median stands for the benchmark; without,
            // the single run does.
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.run_type == Run::RT_Iteration || median) {
                const double ns = run.GetAdjustedRealTime() /
                                  benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
                if (median || seconds_.count(run.run_name.str()) == 0) {
                    seconds_[run.run_name.str()] = ns;
                    // User counters as "name:counter", for benchmarks that
                    // time two things side by side in one run.
                    for (const auto& c : run.counters) {
                        seconds_[run.run_name.str() + ":" + c.first] = c.second.value;
                    }
                }
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Nanoseconds per iteration (or, for "name:counter", the counter's value),
    // or a negative number when the benchmark did not run.
    double nanoseconds(const std::string& name) const {
        auto it = seconds_.find(name);
        return it == seconds_.end() ? -1.0 : it->second;
    }

private:
    std::map<std::string, double> seconds_;
};

// Takes Google Benchmark's options from the command line; false (after its
// message) for one it does not know.
inline bool StartBenchmarks(int* argc, char** argv) {
    benchmark::Initialize(argc, argv);
    return !benchmark::ReportUnrecognizedArguments(*argc, argv);
}

// Runs every selected benchmark, recording the times the ratio table reads.
inline void RunBenchmarks(RatioReporter& reporter) {
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}

class RatioTable {
public:
    explicit RatioTable(std::string title) : title_(std::move(title)) {}

    void ratio(const std::string& what, const RatioReporter& r, const std::string& numerator,
               const std::string& denominator) {
        rows_.push_back({what, r.nanoseconds(numerator), r.nanoseconds(denominator)});
    }

    void print() const {
        std::printf("\nRatios: %s\n", title_.c_str());
        std::printf("%-58s %12s %12s %8s\n", "", "ns", "anchor ns", "ratio");
        for (const Row& row : rows_) {
            if (row.a < 0 || row.b <= 0) {
                std::printf("%-58s %12s %12s %8s\n", row.what.c_str(), "-", "-", "not run");
                continue;
            }
            std::printf("%-58s %12.1f %12.1f %8.2f\n", row.what.c_str(), row.a, row.b,
                        row.a / row.b);
        }
    }

private:
    struct Row {
        std::string what;
        double a, b;
    };
    std::string title_;
    std::vector<Row> rows_;
};

#endif

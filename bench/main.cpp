// Google Benchmark's main with this project's defaults in front of the caller's arguments, which override them.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<std::string> defaults{
        "--benchmark_repetitions=15", // the report needs the spread
        "--benchmark_enable_random_interleaving=true",
        "--benchmark_display_aggregates_only=true",
    };
    std::vector<char*> arguments{argv[0]};
    for (std::string& argument : defaults) {
        arguments.push_back(argument.data());
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);

    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

#include "bench_stats.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <numeric>
#include <sstream>

namespace zelt_bench {

double quantile(std::vector<double> values, double q) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const double position = q * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(std::floor(position));
    const std::size_t above = std::min(below + 1, values.size() - 1);
    const double fraction = position - static_cast<double>(below);
    return values[below] + (values[above] - values[below]) * fraction;
}

Summary summarize(const std::vector<double>& values) {
    Summary summary;
    summary.count = values.size();
    if (values.empty()) return summary;
    summary.median = quantile(values, 0.5);
    summary.q1 = quantile(values, 0.25);
    summary.q3 = quantile(values, 0.75);
    summary.min = *std::min_element(values.begin(), values.end());
    summary.max = *std::max_element(values.begin(), values.end());
    return summary;
}

double mean(const std::vector<double>& values) {
    if (values.empty()) return 0;
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

double standardDeviation(const std::vector<double>& values) {
    if (values.size() < 2) return 0;
    const double average = mean(values);
    double squares = 0;
    for (const double value : values) squares += (value - average) * (value - average);
    return std::sqrt(squares / static_cast<double>(values.size() - 1));
}

std::string formatSummary(const Summary& summary, int digits) {
    char text[128];
    std::snprintf(text, sizeof text, "%.*f [%.*f .. %.*f]", digits, summary.median, digits,
                  summary.min, digits, summary.max);
    return text;
}

void printResult(const std::string& name, double value, int digits) {
    std::printf("RESULT %s=%.*f\n", name.c_str(), digits, value);
    std::fflush(stdout);
}

void printResult(const std::string& name, const std::string& value) {
    std::printf("RESULT %s=%s\n", name.c_str(), value.c_str());
    std::fflush(stdout);
}

std::string machineLine() {
    std::ostringstream line;
    utsname names{};
    if (uname(&names) == 0)
        line << names.nodename << " (" << names.machine << ", " << names.release << ")";
    line << ", " << sysconf(_SC_NPROCESSORS_ONLN) << " cores";
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string entry; std::getline(cpuinfo, entry);) {
        if (entry.rfind("model name", 0) == 0) {
            line << ", " << entry.substr(entry.find(':') + 2);
            break;
        }
    }
    std::ifstream loadavg("/proc/loadavg");
    std::string one, five;
    if (loadavg >> one >> five) line << ", load average " << one << " " << five;
    return line.str();
}

}  // namespace zelt_bench

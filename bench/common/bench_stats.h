// Statistics and the summary lines of the benchmarks.
#pragma once

#include <string>
#include <vector>

namespace zelt_bench {

/// Median and spread of repeated measurements.
struct Summary {
    double median = 0;
    double min = 0;
    double max = 0;
    double q1 = 0;  // first quartile
    double q3 = 0;  // third quartile
    std::size_t count = 0;
};

/// The q-quantile (0..1) of `values` with linear interpolation between order statistics; 0
/// for no values.
double quantile(std::vector<double> values, double q);
Summary summarize(const std::vector<double>& values);
double mean(const std::vector<double>& values);
/// Sample standard deviation (n - 1); 0 for fewer than two values.
double standardDeviation(const std::vector<double>& values);

/// "median [min .. max]" with `digits` decimals.
std::string formatSummary(const Summary& summary, int digits);

/// Prints the line a collecting script reads: "RESULT name=value".
void printResult(const std::string& name, double value, int digits = 3);
void printResult(const std::string& name, const std::string& value);

/// "host: cores, load average" for the head of a report.
std::string machineLine();

}  // namespace zelt_bench

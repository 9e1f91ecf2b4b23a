#ifndef OXEL_BENCH_RATIOS_H
#define OXEL_BENCH_RATIOS_H

#include "jobs.h"

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

/// What a bench times, and where its times belong.
struct Place {
    std::string size, job, form, picture;

    std::string name() const { return size + "/" + job + "/" + form + "/" + picture; }
};

constexpr const char *yardstick_form = "yardstick";

/// Collects the median of each bench's rounds, in processor time, which other programs disturb less
/// than they do a clock, and prints tables of their ratios. Over several pictures of a size a table
/// shows the median of the ratios.
class Ratios : public benchmark::ConsoleReporter {
  public:
    /// `places` by name; forms and jobs in the order of columns and lines.
    Ratios(std::map<std::string, Place> places, std::vector<std::string> forms,
           std::vector<Job> jobs);

    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

  private:
    using ByPicture = std::map<std::string, double>;
    using ByForm = std::map<std::string, ByPicture>;
    struct Size {
        std::map<std::string, ByForm> milliseconds; // by job
        std::map<std::string, ByForm> heap;         // KiB
        double megapixels;
    };

    void print_speeds(const std::string &name, Size &size) const;
    void print_times(const std::string &name, Size &size) const;
    void print_head(const std::string &title, const std::vector<std::string> &more) const;

    std::map<std::string, Place> places_;
    std::vector<std::string> forms_;
    std::vector<Job> jobs_;
    std::map<std::string, Size> sizes_;
};

} // namespace bench

#endif

#include "ratios.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace bench {

namespace {

double median(std::vector<double> numbers) {
    std::sort(numbers.begin(), numbers.end());
    const std::size_t half = numbers.size() / 2;
    return numbers.size() % 2 != 0 ? numbers[half] : (numbers[half - 1] + numbers[half]) / 2;
}

/// Prints the median of the quotients of all pictures in both, or room for it.
void print_ratio(const std::map<std::string, double> &dividends,
                 const std::map<std::string, double> &divisors) {
    std::vector<double> ratios;
    for (const auto &[picture, dividend] : dividends)
        if (const auto divisor = divisors.find(picture); divisor != divisors.end())
            ratios.push_back(dividend / divisor->second);
    if (ratios.empty())
        std::printf(" %15s |", "");
    else
        std::printf(" %15.2f |", median(ratios));
}

double median_of(const std::map<std::string, double> &by_picture) {
    std::vector<double> numbers;
    for (const auto &[picture, number] : by_picture)
        numbers.push_back(number);
    return median(numbers);
}

} // namespace

Ratios::Ratios(std::map<std::string, Place> places, std::vector<std::string> forms,
               std::vector<Job> jobs)
    : places_(std::move(places)), forms_(std::move(forms)), jobs_(std::move(jobs)) {}

void Ratios::ReportRuns(const std::vector<Run> &runs) {
    for (const Run &run : runs) {
        if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median")
            continue;
        const Place &place = places_.at(run.run_name.function_name);
        Size &size = sizes_[place.size];
        size.milliseconds[place.job][place.form][place.picture] = run.GetAdjustedCPUTime();
        size.heap[place.job][place.form][place.picture] = run.counters.at("heap_KiB");
        size.megapixels = run.counters.at("megapixels");
    }
}

void Ratios::Finalize() {
    for (auto &[name, size] : sizes_) {
        print_speeds(name, size);
        print_times(name, size);
    }
}

void Ratios::print_head(const std::string &title, const std::vector<std::string> &more) const {
    std::vector<std::string> columns = forms_;
    columns.insert(columns.end(), more.begin(), more.end());
    std::printf("\n### %s\n\n| %-52s |", title.c_str(), "");
    for (const std::string &column : columns)
        std::printf(" %15s |", column.c_str());
    std::printf("\n|---|");
    for (std::size_t i = 0; i < columns.size(); ++i)
        std::printf("---|");
    std::printf("\n");
}

void Ratios::print_speeds(const std::string &name, Size &size) const {
    print_head(name + ": times faster than the yardstick", {"ms", "Mpixel/s", "heap KiB"});
    for (const Job &job : jobs_) {
        ByForm &milliseconds = size.milliseconds[job.name];
        if (milliseconds[forms_.front()].empty())
            continue;
        std::printf("| %-52s |", job.name.c_str());
        for (const std::string &form : forms_)
            print_ratio(milliseconds[yardstick_form], milliseconds[form]);
        const double time = median_of(milliseconds[forms_.front()]);
        std::printf(" %15.3f | %15.1f | %15.0f |\n", time, 1000.0 * size.megapixels / time,
                    median_of(size.heap[job.name][forms_.front()]));
    }
}

void Ratios::print_times(const std::string &name, Size &size) const {
    bool any = false;
    for (const Job &job : jobs_) {
        ByForm &times = size.milliseconds[job.name];
        ByForm &others = size.milliseconds[job.beside];
        if (times[forms_.front()].empty() || others[forms_.front()].empty())
            continue;
        if (!any)
            print_head(name + ": time by that of another job", {});
        any = true;
        std::printf("| %-52s |", (job.name + ", by " + job.beside).c_str());
        for (const std::string &form : forms_)
            print_ratio(times[form], others[form]);
        std::printf("\n");
    }
}

} // namespace bench

#include "render/batch_journal.h"

#include "base/failure.h"

#include <glib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

namespace oxel::tools {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

std::string digest(std::string_view text) {
    const std::unique_ptr<char, decltype(&g_free)> sum(
        g_compute_checksum_for_data(G_CHECKSUM_SHA256,
                                    reinterpret_cast<const guchar *>(text.data()), text.size()),
        g_free);
    return sum.get();
}

Json to_json(FileVersion version) {
    return {version.nanoseconds, version.bytes};
}

FileVersion to_version(const Json &json) {
    return {json.at(0).get<std::int64_t>(), json.at(1).get<std::int64_t>()};
}

/// The outputs that a job wants, by their kinds.
std::map<std::string, std::string> outputs_of(const RenderJob &job) {
    std::map<std::string, std::string> outputs = {
        {"frame", job.frame}, {"preview", job.preview}, {"nominal", job.nominal}};
    std::erase_if(outputs, [](const auto &output) { return output.second.empty(); });
    return outputs;
}

Json to_line(const std::string &frame, const std::string &settings, FileVersion photo,
             const FileVersions &outputs) {
    Json line = {{"name", frame}, {"settings", settings}, {"photo", to_json(photo)}};
    for (const auto &[kind, version] : outputs)
        line["outputs"][kind] = to_json(version);
    return line;
}

} // namespace

BatchJournal::BatchJournal(const std::string &folder, std::string_view settings)
    : folder_(folder), path_(fs::path(folder) / ".oxel-render.json"), settings_(digest(settings)) {
    if (std::error_code error; fs::exists(path_, error)) {
        const Bytes bytes = read_file(path_);
        read_entries({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
    }
    if (untidy_)
        tidy_up();
    file_.reset(std::fopen(path_.c_str(), "ab"));
    if (!file_)
        throw Failure(path_, std::strerror(errno));
}

void BatchJournal::read_entries(std::string_view text) {
    std::size_t lines = 0;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const Json line = Json::parse(text.substr(0, end), nullptr, false);
        text.remove_prefix(std::min(end, text.size() - 1) + 1);
        ++lines;
        try {
            FileVersions outputs;
            for (const auto &[kind, version] : line.at("outputs").items())
                outputs[kind] = to_version(version);
            const std::string name = line.at("name");
            const Entry entry = {line.at("settings"), to_version(line.at("photo")), outputs};
            // Of the notes of one frame with the same settings the last counts.
            const auto [first, last] = entries_.equal_range(name);
            const auto older = std::find_if(first, last, [&](const auto &known) {
                return known.second.settings == entry.settings;
            });
            if (older != last)
                entries_.erase(older);
            entries_.emplace(name, entry);
        } catch (const Json::exception &) {
            untidy_ = true; // written by somebody else, or not to its end
        }
    }
    untidy_ = untidy_ || lines > 2 * entries_.size();
}

/// What another batch notes meanwhile may be lost: its frames are made again.
void BatchJournal::tidy_up() const {
    std::string text;
    for (const auto &[name, entry] : entries_)
        text += to_line(name, entry.settings, entry.photo, entry.outputs).dump() + "\n";
    OutputFiles output;
    output.write(path_, {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
    output.publish();
}

std::string BatchJournal::name_in_folder(const RenderJob &job) const {
    return printable(fs::path(job.frame).lexically_relative(folder_).string());
}

bool BatchJournal::is_up_to_date(const RenderJob &job) const {
    const auto [first, last] = entries_.equal_range(name_in_folder(job));
    return std::any_of(first, last, [&](const auto &known) {
        const Entry &entry = known.second;
        if (entry.settings != settings_ || entry.photo != file_version(job.photo))
            return false;
        for (const auto &[kind, path] : outputs_of(job)) {
            const auto noted = entry.outputs.find(kind);
            if (noted == entry.outputs.end() || noted->second != file_version(path))
                return false;
        }
        return true;
    });
}

void BatchJournal::note(const RenderJob &job, FileVersion photo, const FileVersions &outputs) {
    FileVersions by_kind;
    for (const auto &[kind, path] : outputs_of(job))
        by_kind[kind] = outputs.at(path);
    const std::string line = to_line(name_in_folder(job), settings_, photo, by_kind).dump() + "\n";
    const std::lock_guard lock(mutex_);
    // In one piece, so that two batches' lines do not mix. If it fails, the frame is made again.
    std::fwrite(line.data(), 1, line.size(), file_.get());
    std::fflush(file_.get());
}

} // namespace oxel::tools

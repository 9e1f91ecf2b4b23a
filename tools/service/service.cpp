#include "service/service.h"

#include "base/failure.h"
#include "package_builder/package_file.h"
#include "render/panel_codes.h"
#include "service/digest.h"
#include "service/site_file.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <unistd.h>
#include <utility>

namespace oxel::tools {

using nlohmann::ordered_json;

namespace {

constexpr std::uint64_t most_note_bytes = 4096; // of a crop

constexpr Moment seconds_until_set = 300;
constexpr Moment most_sleep = Moment{26} * 3600; // longer than any day

std::string dump(const ordered_json &json) {
    return json.dump(-1, ' ', true, ordered_json::error_handler_t::replace) + "\n";
}

int threads_of(const Configuration &configuration) {
    return configuration.jobs > 0
               ? configuration.jobs
               : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

Response not_found() {
    return line_response(404, "there is nothing of this name");
}

/// What may be done with what bears such a name.
std::vector<std::string_view> methods_of(const std::vector<std::string> &path) {
    if (path.size() == 1 && path[0] == "render")
        return {"POST"};
    if (path.size() >= 3 && path[0] == "albums")
        return {"GET", "HEAD", "PUT", "DELETE"};
    return {"GET", "HEAD"};
}

Response wrong_method(const std::vector<std::string_view> &methods) {
    std::string allowed;
    for (const std::string_view method : methods)
        allowed += (allowed.empty() ? "" : ", ") + std::string(method);
    Response response = line_response(405, "only " + allowed + " is possible here");
    response.headers.emplace_back("Allow", allowed);
    return response;
}

std::string tag_of(const std::string &key) {
    return '"' + key.substr(0, 40) + '"';
}

std::string joined(const std::vector<std::string> &parts, std::size_t from) {
    std::string name;
    for (std::size_t i = from; i < parts.size(); ++i)
        name += (i == from ? "" : "/") + parts[i];
    return name;
}

ordered_json json_of_panel(const Device &device) {
    const Panel &panel = *device.panel;
    ordered_json colours = ordered_json::array();
    const auto fields = read_package_fields(panel.package);
    for (std::size_t i = 0; fields && i < fields->colours; ++i) {
        const auto rgb = package_table(panel.package, std::uint64_t{fields->palette} + 3 * i, 3);
        const auto code = package_table(panel.package, std::uint64_t{fields->tcon} + i, 1);
        if (rgb.empty() || code.empty())
            break;
        const std::string name =
            i < panel.colour_names.size() ? panel.colour_names[i] : "colour " + std::to_string(i);
        colours.push_back({{"name", name}, {"rgb", {rgb[0], rgb[1], rgb[2]}}, {"tcon", code[0]}});
    }
    return {{"name", panel.name},
            {"width", device.size.width},
            {"height", device.size.height},
            {"tft_layout", device.layout},
            {"colours", colours}};
}

std::string source_text(const PictureSource &source) {
    return !source.album.empty()     ? "album " + source.album
           : !source.folders.empty() ? "folder"
           : !source.picture.empty() ? "picture"
           : !source.command.empty() ? "command"
                                     : "address";
}

std::string frame_type(const Device &device) {
    const FrameSettings &frame = device.configuration.settings.frame;
    if (frame.gzip)
        return "application/gzip";
    switch (file_format(frame)) {
    case FrameFormat::png:
        return "image/png";
    case FrameFormat::bmp:
        return "image/bmp";
    case FrameFormat::c:
        return "text/plain; charset=utf-8";
    default:
        return "application/octet-stream";
    }
}

bool is_device_part(const Request &request) {
    return request.target.path.size() == 3 && request.target.path[0] == "devices";
}

} // namespace

Service::Service(std::shared_ptr<const Fleet> fleet, const ServiceClock &clock)
    : clock_(clock), fleet_(std::move(fleet)),
      store_(fleet_->configuration.cache,
             std::uint64_t{1'000'000} * std::uint64_t(fleet_->configuration.cache_megabytes)),
      moved_(fleet_->configuration.state), frames_(store_, metrics_, clock_),
      makers_(threads_of(fleet_->configuration)), lookers_(2) {
    ahead_ = std::jthread([this](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            look_ahead();
            for (int i = 0; i < 10 && !stop.stop_requested(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
}

Service::~Service() {
    ahead_.request_stop();
    ahead_.join();
}

void Service::replace(std::shared_ptr<const Fleet> fleet) {
    const std::lock_guard lock(mutex_);
    fleet_ = std::move(fleet);
    for (const auto &[id, running] : running_) {
        const std::lock_guard lock_one(running->mutex);
        running->looked_at = -1;
        running->ahead_until = -1;
    }
}

std::shared_ptr<const Fleet> Service::fleet() const {
    const std::lock_guard lock(mutex_);
    return fleet_;
}

Service::Running &Service::running(const std::string &id) {
    const std::lock_guard lock(mutex_);
    std::unique_ptr<Running> &running = running_[id];
    if (!running)
        running = std::make_unique<Running>();
    return *running;
}

std::uint64_t Service::most_body_bytes() const {
    return std::uint64_t{1'000'000} * std::uint64_t(fleet()->configuration.upload_megabytes);
}

bool Service::has_page_token(const Request &request, const Fleet &fleet) const {
    const std::string &token = fleet.configuration.token;
    return !token.empty() && same_secret(bearer(request.authorization), token);
}

Response Service::unauthorised() {
    ++metrics_.refused_tokens;
    Response response = line_response(401, "this needs a token: Authorization: Bearer TOKEN");
    response.headers.emplace_back("WWW-Authenticate", "Bearer");
    return response;
}

/// What tokens say of a request. The page and uploads have one, each device may have its own.
std::optional<Response> Service::refused(const Request &request, const Fleet &fleet) {
    const std::vector<std::string> &path = request.target.path;
    const std::string &page_token = fleet.configuration.token;
    if (!request.reads()) {
        if (page_token.empty())
            return line_response(403, "writing needs a token, and the configuration has none");
        return has_page_token(request, fleet) ? std::nullopt : std::optional(unauthorised());
    }
    const bool open = path.empty() || (path[0] != "devices" && path[0] != "albums" &&
                                       path[0] != "metrics" && path[0] != "render");
    if (open || has_page_token(request, fleet))
        return std::nullopt;
    if (is_device_part(request)) {
        const auto device = fleet.devices.find(path[1]);
        const std::string token =
            device == fleet.devices.end() ? "" : device->second.configuration.token;
        if (!token.empty()) {
            const bool given = same_secret(bearer(request.authorization), token) ||
                               same_secret(request.target.value("token"), token);
            return given ? std::nullopt : std::optional(unauthorised());
        }
        if (path[2] == "frame")
            return std::nullopt;
    }
    return page_token.empty() ? std::nullopt : std::optional(unauthorised());
}

std::optional<Response> Service::refusal(const Request &request, std::uint64_t body_bytes) {
    const std::vector<std::string> &path = request.target.path;
    const auto methods = methods_of(path);
    if (std::find(methods.begin(), methods.end(), request.method) == methods.end())
        return wrong_method(methods);
    if (auto response = refused(request, *fleet()))
        return response;
    const bool render = request.method == "POST";
    const std::uint64_t most = render ? most_body_bytes() : most_note_bytes;
    if (body_bytes > most)
        return line_response(413, "more than the " + std::to_string(most) + " bytes that may come");
    return std::nullopt;
}

std::optional<Response> Service::answer_at_once(const Request &request) {
    try {
        return find_at_once(request);
    } catch (const std::exception &) { // whoever looks for it with more time tells why
        return std::nullopt;
    }
}

std::optional<Response> Service::find_at_once(const Request &request) {
    const std::vector<std::string> &path = request.target.path;
    if (path.size() == 1 && path[0] == "healthz")
        return line_response(200, "well");
    if (!is_device_part(request) || path[2] != "frame" || !request.reads() ||
        request.target.has("next"))
        return std::nullopt;
    const std::shared_ptr<const Fleet> now_held = fleet();
    const auto device = now_held->devices.find(path[1]);
    if (device == now_held->devices.end())
        return std::nullopt;
    Running &known = running(path[1]);
    const Moment now = clock_.now();
    const bool gzip = accepts_gzip(request.accept_encoding) && request.range.empty();
    ShownFrame frame;
    Slot slot{};
    {
        const std::lock_guard lock(known.mutex);
        const bool lately = known.looked_at == now || known.looked_at + 1 == now;
        if (!lately || known.fleet != now_held.get() || known.key.empty() || now >= known.slot.end)
            return std::nullopt;
        // One of those who ask in a second has it looked at anew, the others need not wait for
        // that.
        if (known.looked_at != now && std::exchange(known.looking_at, now) != now)
            return std::nullopt;
        frame.key = known.key;
        slot = known.slot;
        note_wake(request, known, now);
    }
    const std::string name = frame.key + (gzip ? ".frame.gz" : ".frame");
    auto kept = store_.find_kept(name);
    if (!kept) {
        auto file = store_.find(name);
        if (!file)
            return std::nullopt;
        frame.file = std::move(*file);
    }
    ++metrics_.cache_hits;
    Response response = frame_response(device->second, std::move(frame), slot, now, gzip);
    response.kept = std::move(kept);
    return response;
}

void Service::answer(const std::shared_ptr<Request> &request, std::function<void(Response)> done) {
    answer_by(Diligence::look, request,
              std::make_shared<std::function<void(Response)>>(std::move(done)));
}

void Service::answer_by(Diligence diligence, const std::shared_ptr<Request> &request,
                        const std::shared_ptr<std::function<void(Response)>> &done) {
    const auto job = [this, diligence, request, done] {
        Result response = answer_safely(*request, diligence);
        if (response || diligence == Diligence::make)
            (*done)(response ? std::move(*response) : not_found());
        else
            answer_by(diligence == Diligence::look && asks_source(*request) ? Diligence::ask
                                                                            : Diligence::make,
                      request, done);
    };
    bool taken = false;
    if (diligence == Diligence::ask) {
        const std::string &id = request->target.path[1];
        taken = askers_.add(id, frames_.source_failed(id), job,
                            [this, request, done] { answer_by(Diligence::look, request, done); });
    } else {
        taken = (diligence == Diligence::look ? lookers_ : makers_).add(job);
    }
    if (!taken)
        (*done)(line_response(503, "too much waits already"));
}

bool Service::asks_source(const Request &request) const {
    const std::shared_ptr<const Fleet> held = fleet();
    if (!is_device_part(request))
        return false;
    const auto device = held->devices.find(request.target.path[1]);
    return device != held->devices.end() && device->second.configuration.source.is_asked();
}

Service::Result Service::answer_safely(Request &request, Diligence diligence) {
    try {
        return route(request, diligence);
    } catch (const Failure &failure) {
        return line_response(500, failure.what());
    } catch (const std::bad_alloc &) {
        return line_response(503, "out of memory");
    } catch (const std::exception &error) {
        return line_response(500, error.what());
    }
}

Service::Result Service::route(Request &request, Diligence diligence) {
    const std::shared_ptr<const Fleet> held = fleet();
    const std::vector<std::string> &path = request.target.path;
    const std::string first = path.empty() ? "" : path[0];
    if (first == "render")
        return upload(request, *held, diligence);
    if (first == "albums")
        return albums(request, *held, diligence);
    if (first == "devices")
        return devices(request, *held, diligence);
    if (first == "metrics" && path.size() == 1)
        return list_metrics(*held);
    return site(request, *held);
}

Service::Result Service::devices(Request &request, const Fleet &fleet, Diligence diligence) {
    const std::vector<std::string> &path = request.target.path;
    if (path.size() == 1)
        return list_devices(fleet);
    const auto device = fleet.devices.find(path[1]);
    if (device == fleet.devices.end() || path.size() != 3)
        return not_found();
    return device_part(request, fleet, device->second, diligence);
}

Service::Result Service::device_part(Request &request, const Fleet &fleet, const Device &device,
                                     Diligence diligence) {
    const std::string &part = request.target.path[2];
    if (part == "frame")
        return frame(request, fleet, device, diligence);
    if (part == "preview.png")
        return preview(device, diligence);
    if (part == "panel.json")
        return json_response(dump(json_of_panel(device)));
    if (part != "package")
        return not_found();
    Response response;
    response.headers = {{"Content-Type", "application/octet-stream"},
                        {"Cache-Control", "private, no-cache"}};
    response.text.assign(device.panel->package.begin(), device.panel->package.end());
    Digest digest;
    digest.add(response.text);
    response.etag = tag_of(digest.hex());
    return response;
}

Response Service::frame_response(const Device &device, ShownFrame frame, const Slot &slot,
                                 Moment now, bool gzip) {
    Response response;
    // A clock that is not set yet soon will be; and no device is to sleep for years.
    const bool is_set = now >= slot.begin && now < slot.end;
    const Moment seconds = is_set ? slot.end - now : seconds_until_set;
    const std::string wake = std::to_string(std::clamp<Moment>(seconds, 1, most_sleep));
    response.headers = {{"Content-Type", frame_type(device)},
                        {"Cache-Control", "private, max-age=" + wake},
                        {"X-Next-Wake", wake},
                        {"Vary", "Accept-Encoding"}};
    if (gzip)
        response.headers.emplace_back("Content-Encoding", "gzip");
    // The same frame in another form has another tag.
    response.etag = tag_of(frame.key.substr(0, 38) + (gzip ? "gz" : ""));
    response.file = std::move(frame.file);
    return response;
}

void Service::note_wake(const Request &request, Running &running, Moment now) {
    running.last_wake = now;
    char *end = nullptr;
    const double level = std::strtod(request.battery.c_str(), &end);
    if (!request.battery.empty() && *end == '\0' && std::isfinite(level))
        running.battery = std::to_string(level);
}

Service::Result Service::frame(Request &request, const Fleet &fleet, const Device &device,
                               Diligence diligence) {
    const std::string &id = device.configuration.id;
    const bool moves = request.target.has("next");
    if (moves && request.method == "GET" && diligence == Diligence::look)
        moved_.move_on(id);
    const Moment now = clock_.now();
    const Slot slot = device.schedule->slot_at(now);
    const bool gzip = accepts_gzip(request.accept_encoding) && request.range.empty();
    auto shown = frames_.at_step(device, slot.number + moved_.of(id), slot.number,
                                 gzip ? FrameForm::gzip : FrameForm::frame, diligence);
    if (!shown)
        return std::nullopt;
    Running &known = running(id);
    {
        const std::lock_guard lock(known.mutex);
        note_wake(request, known, now);
        known.key = shown->key;
        known.slot = slot;
        known.looked_at = now;
        known.fleet = &fleet;
    }
    Response response = frame_response(device, std::move(*shown), slot, now, gzip);
    if (moves)
        for (auto &[name, value] : response.headers)
            if (name == "Cache-Control")
                value = "no-store";
    return response;
}

Service::Result Service::preview(const Device &device, Diligence diligence) {
    const Slot slot = device.schedule->slot_at(clock_.now());
    auto shown = frames_.at_step(device, slot.number + moved_.of(device.configuration.id),
                                 slot.number, FrameForm::preview, diligence);
    if (!shown)
        return std::nullopt;
    Response response;
    response.headers = {{"Content-Type", "image/png"}, {"Cache-Control", "private, no-cache"}};
    response.etag = tag_of(shown->key.substr(0, 37) + "png");
    response.file = std::move(shown->file);
    return response;
}

Service::Result Service::albums(Request &request, const Fleet &fleet, Diligence diligence) {
    const std::vector<std::string> &path = request.target.path;
    if (path.size() == 1) {
        ordered_json list = ordered_json::array();
        for (const auto &[name, album] : fleet.albums)
            list.push_back({{"name", name}, {"pictures", album->listing()->size()}});
        return json_response(dump({{"albums", list}}));
    }
    const auto album = fleet.albums.find(path[1]);
    if (album == fleet.albums.end())
        return not_found();
    if (path.size() > 2)
        return album_picture(request, fleet, *album->second, joined(path, 2), diligence);
    if (diligence != Diligence::make) // it opens a file a picture
        return std::nullopt;
    ordered_json list = ordered_json::array();
    for (const AlbumPicture &picture : *album->second->listing()) {
        Crops crops;
        try {
            crops = read_crops(album->second->open_folder_of(picture.name), picture.name);
        } catch (const Failure &) { // it has gone meanwhile
            continue;
        }
        list.push_back({{"name", picture.name}, {"crops", ordered_json(crops)}});
    }
    return json_response(dump({{"pictures", list}}));
}

Service::Result Service::album_picture(Request &request, const Fleet &fleet, Album &album,
                                       const std::string &name, Diligence diligence) {
    OpenPictureFile file;
    try {
        file = album.open(name);
    } catch (const Failure &) {
        return not_found();
    }
    if (!request.reads())
        return change_crop(request, fleet, album, name);
    Response response;
    if (request.target.has("thumbnail")) {
        std::optional<ShownFrame> shown;
        try {
            shown = frames_.thumbnail(album, name, diligence);
        } catch (const Failure &failure) {
            return line_response(422, failure.what());
        }
        if (!shown)
            return std::nullopt;
        response.headers = {{"Content-Type", "image/jpeg"}};
        response.etag = tag_of(shown->key);
        response.file = std::move(shown->file);
    } else {
        response.headers = {{"Content-Type", type_of_file(name)}};
        response.etag = tag_of(frames_.digest_of(file));
        const off_t bytes = lseek(file.file.get(), 0, SEEK_END);
        response.file = {std::move(file.file),
                         static_cast<std::uint64_t>(std::max<off_t>(0, bytes))};
    }
    response.headers.emplace_back("Cache-Control", "private, no-cache");
    // A drawing may hold a script, and comes from where the page does.
    response.headers.emplace_back("Content-Security-Policy",
                                  "sandbox; default-src 'none'; style-src 'unsafe-inline'");
    return response;
}

Response Service::change_crop(Request &request, const Fleet &fleet, const Album &album,
                              const std::string &name) {
    const std::string device = request.target.value("device");
    if (fleet.devices.count(device) == 0)
        return line_response(404, "there is no device " + device);
    std::optional<Crop> crop;
    if (request.method == "PUT") {
        std::string text(request.body_bytes, '\0');
        if (request.body && pread(request.body.get(), text.data(), text.size(), 0) !=
                                static_cast<ssize_t>(text.size()))
            return line_response(400, "the body cannot be read");
        crop = parse_crop(text);
        if (!crop)
            return line_response(400, "must be {\"crop\": [x, y, width, height]}, in shares of the "
                                      "upright picture from 0 to 1");
    }
    write_crop(album, name, device, crop);
    Running &known = running(device);
    const std::lock_guard lock(known.mutex);
    known.looked_at = -1; // its frame may be another now
    known.ahead_until = -1;
    Response response;
    response.status = 204;
    return response;
}

Service::Result Service::upload(Request &request, const Fleet &fleet, Diligence diligence) {
    const auto device = fleet.devices.find(request.target.value("device"));
    if (device == fleet.devices.end())
        return line_response(404, "?device= must name a device");
    if (!request.body || request.body_bytes == 0)
        return line_response(400, "a picture must come as the body");
    if (diligence != Diligence::make)
        return std::nullopt;
    const bool preview = request.target.has("preview");
    try {
        ShownFrame shown = frames_.of_upload(device->second, {std::move(request.body), "", 0},
                                             preview ? FrameForm::preview : FrameForm::frame);
        Response response;
        response.headers = {{"Content-Type", preview ? "image/png" : frame_type(device->second)},
                            {"Cache-Control", "no-store"}};
        response.file = std::move(shown.file);
        return response;
    } catch (const Failure &failure) {
        return line_response(422, failure.what());
    }
}

Response Service::site(const Request &request, const Fleet &fleet) const {
    if (fleet.configuration.site.empty())
        return request.target.path.empty()
                   ? line_response(200,
                                   "oxel serve: /devices, /albums, /metrics; there is no page: "
                                   "the configuration names no site")
                   : not_found();
    auto file = open_site_file(fleet.configuration.site, request.target.path);
    if (!file)
        return not_found();
    Response response;
    const std::string name =
        request.target.path.empty() ? "index.html" : request.target.path.back();
    response.headers = {{"Content-Type", type_of_file(file->is_index ? "index.html" : name)},
                        {"Cache-Control", "no-cache"}};
    Digest digest;
    digest.add(file->identity);
    response.etag = tag_of(digest.hex());
    response.file = std::move(file->file);
    return response;
}

Response Service::list_devices(const Fleet &fleet) {
    ordered_json list = ordered_json::array();
    const Moment now = clock_.now();
    for (const auto &[id, device] : fleet.devices) {
        const RenderSettings &settings = device.configuration.settings;
        ordered_json entry = {
            {"id", id},
            {"panel", device.panel->name},
            {"width", device.size.width},
            {"height", device.size.height},
            {"format", entry_of(file_format(settings.frame)).name},
            {"dither", settings.dithering_mode == undiffused
                           ? "none"
                           : dither_names[static_cast<std::size_t>(settings.dithering_mode)]},
            {"source", source_text(device.configuration.source)},
            {"next_wake", std::max<Moment>(1, device.schedule->slot_at(now).end - now)},
        };
        Running &known = running(id);
        const std::lock_guard lock(known.mutex);
        if (known.last_wake > 0)
            entry["last_wake"] = known.last_wake;
        if (!known.battery.empty())
            entry["battery"] = std::strtod(known.battery.c_str(), nullptr);
        list.push_back(std::move(entry));
    }
    return json_response(dump({{"devices", list}}));
}

Response Service::list_metrics(const Fleet &fleet) {
    std::string text = metrics_.text();
    text += metric_head("oxel_cache_bytes", "gauge", "Bytes in the cache.") + "oxel_cache_bytes " +
            std::to_string(store_.bytes()) + "\n";
    text += metric_head("oxel_renders_waiting", "gauge", "Requests that wait for a render.") +
            "oxel_renders_waiting " + std::to_string(makers_.waiting()) + "\n";
    std::string wakes = metric_head("oxel_device_last_wake_seconds", "gauge",
                                    "When a device asked for its frame last.");
    std::string batteries =
        metric_head("oxel_device_battery", "gauge", "What a device says of its battery.");
    for (const auto &[id, device] : fleet.devices) {
        Running &known = running(id);
        const std::lock_guard lock(known.mutex);
        const std::string label = "{device=\"" + id + "\"} ";
        if (known.last_wake > 0)
            wakes +=
                "oxel_device_last_wake_seconds" + label + std::to_string(known.last_wake) + "\n";
        if (!known.battery.empty())
            batteries += "oxel_device_battery" + label + known.battery + "\n";
    }
    Response response;
    response.headers = {{"Content-Type", "text/plain; version=0.0.4; charset=utf-8"},
                        {"Cache-Control", "no-store"}};
    response.text = text + wakes + batteries;
    return response;
}

/// Has each device's present frame and the next one made, as soon as a slot begins.
void Service::look_ahead() {
    const std::shared_ptr<const Fleet> held = fleet();
    const Moment now = clock_.now();
    for (const auto &[id, device] : held->devices) {
        const Slot slot = device.schedule->slot_at(now);
        Running &known = running(id);
        const std::lock_guard lock(known.mutex);
        if (known.ahead_until == slot.end)
            continue;
        known.ahead_until = slot.end;
        const bool asks = device.configuration.source.is_asked();
        const auto job = [this, name = id, slot, asks] {
            make_ahead(name, slot, asks ? Diligence::ask : Diligence::make);
        };
        if (asks)
            askers_.add_ahead(id, frames_.source_failed(id), job);
        else
            makers_.add_ahead(job);
    }
}

void Service::make_ahead(const std::string &id, const Slot &slot, Diligence diligence) {
    const std::shared_ptr<const Fleet> held = fleet();
    const auto device = held->devices.find(id);
    if (device == held->devices.end() || slot.end <= clock_.now())
        return;
    // What a source gives in the next slot, it gives then.
    const int slots = device->second.configuration.source.is_asked() ? 1 : 2;
    try {
        const std::int64_t moved = moved_.of(id);
        for (std::int64_t next = 0; next < slots; ++next)
            if (!frames_.at_step(device->second, slot.number + next + moved, slot.number + next,
                                 FrameForm::frame, diligence) &&
                diligence == Diligence::ask)
                makers_.add_ahead([this, id, slot] { make_ahead(id, slot, Diligence::make); });
    } catch (const std::exception &) { // whoever asks for it is told
    }
}

} // namespace oxel::tools

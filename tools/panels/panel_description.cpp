#include "panels/panel_description.h"

#include "base/failure.h"
#include "base/suggestion.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <set>

namespace oxel::tools {

namespace {

using nlohmann::json;

/// A JSON value that knows its place in the file, for messages.
class Node {
  public:
    Node(const std::string &file, const json &value, std::string path = {})
        : file_(file), value_(value), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string &reason) const { throw Failure(place(), reason); }
    void warn(const std::string &text) const {
        std::fprintf(stderr, "oxel: %s: warning: %s\n", printable(place()).c_str(), text.c_str());
    }

    bool has(const char *key) const { return value_.contains(key); }

    Node operator[](const char *key) const {
        static const json missing;
        const Node member(file_, has(key) ? value_[key] : missing, path_to(key));
        if (!has(key))
            member.fail("is missing");
        return member;
    }

    /// Requires an object with no keys but these.
    void expect_object(std::initializer_list<const char *> keys) const {
        if (!value_.is_object())
            fail("must be an object");
        for (const auto &[key, value] : value_.items())
            if (std::find(keys.begin(), keys.end(), key) == keys.end())
                fail("unknown key " + json(key).dump() +
                     suggestion(key, {keys.begin(), keys.end()}));
    }

    std::vector<Node> elements(std::size_t least, std::size_t most) const {
        if (!value_.is_array() || value_.size() < least || value_.size() > most)
            fail("must be an array of " + std::to_string(least) +
                 (least == most ? "" : " to " + std::to_string(most)) + " elements");
        std::vector<Node> nodes;
        for (const json &value : value_)
            nodes.emplace_back(file_, value, path_ + "[" + std::to_string(nodes.size()) + "]");
        return nodes;
    }

    std::string text() const {
        if (!value_.is_string() || value_.get_ref<const std::string &>().empty())
            fail("must be a string that is not empty");
        return value_.get<std::string>();
    }

    int integer(int least, int most) const {
        return static_cast<int>(number(value_.is_number_integer(), "an integer", least, most));
    }

    double real(int least, int most) const {
        return number(value_.is_number(), "a number", least, most);
    }

  private:
    std::string place() const { return path_.empty() ? file_ : file_ + ": " + path_; }
    std::string path_to(const char *key) const { return path_.empty() ? key : path_ + "." + key; }

    double number(bool right_type, const char *type, int least, int most) const {
        if (!right_type || value_.get<double>() < least || value_.get<double>() > most)
            fail(std::string("must be ") + type + " from " + std::to_string(least) + " to " +
                 std::to_string(most));
        return value_.get<double>();
    }

    const std::string &file_;
    const json &value_;
    std::string path_;
};

RgbBytes parse_rgb(const Node &node) {
    RgbBytes rgb{};
    const auto channels = node.elements(3, 3);
    for (std::size_t i = 0; i < 3; ++i)
        rgb[i] = static_cast<std::uint8_t>(channels[i].integer(0, 255));
    return rgb;
}

RgbBytes parse_lab(const Node &node) {
    const auto axes = node.elements(3, 3);
    const Vector3 srgb =
        srgb_from_lab({axes[0].real(0, 100), axes[1].real(-128, 128), axes[2].real(-128, 128)});
    if (std::any_of(srgb.begin(), srgb.end(), [](double v) { return v < -0.5 || v > 255.5; }))
        node.warn("lies outside sRGB and is clipped");
    return to_bytes(srgb);
}

PanelColour parse_colour(const Node &node) {
    node.expect_object({"name", "rgb", "lab", "tcon"});
    if (node.has("rgb") == node.has("lab"))
        node.fail("must have one of rgb and lab");
    return {node.has("rgb") ? parse_rgb(node["rgb"]) : parse_lab(node["lab"]),
            static_cast<std::uint8_t>(node["tcon"].integer(0, 255))};
}

std::optional<ImageSize> parse_size(const Node &root) {
    if (!root.has("width") && !root.has("height"))
        return std::nullopt;
    const ImageSize size{root["width"].integer(1, INT32_MAX), root["height"].integer(1, INT32_MAX)};
    if (!size.supported())
        root.fail("width x height is too large: " + size.text());
    return size;
}

void warn_of_repeated_codes(const std::vector<Node> &nodes,
                            const std::vector<PanelColour> &colours) {
    for (auto colour = colours.begin(); colour != colours.end(); ++colour) {
        const auto first = std::find_if(colours.begin(), colour, [&](const PanelColour &other) {
            return other.tcon == colour->tcon;
        });
        if (first != colour)
            nodes[static_cast<std::size_t>(colour - colours.begin())]["tcon"].warn(
                "is also the code of colours[" + std::to_string(first - colours.begin()) + "]");
    }
}

PanelDescription parse(const Node &root) {
    root.expect_object({"name", "width", "height", "tft_layout", "colours"});
    PanelDescription panel;
    panel.name = root["name"].text();
    panel.size = parse_size(root);
    if (root.has("tft_layout"))
        panel.layout = root["tft_layout"].integer(0, 5);
    const auto nodes = root["colours"].elements(2, 256);
    for (const Node &node : nodes) {
        panel.colours.push_back(parse_colour(node));
        panel.colour_names.push_back(node["name"].text());
    }
    warn_of_repeated_codes(nodes, panel.colours);
    return panel;
}

/// JSON in which no object has a key twice: else the last would win without a word.
json parse_json(const std::string &file, std::string_view text) {
    std::vector<std::set<std::string>> keys; // of the objects around
    return json::parse(text, [&](int, json::parse_event_t event, const json &parsed) {
        if (event == json::parse_event_t::object_start)
            keys.emplace_back();
        else if (event == json::parse_event_t::object_end)
            keys.pop_back();
        else if (event == json::parse_event_t::key &&
                 !keys.back().insert(parsed.get<std::string>()).second)
            throw Failure(file, "key " + parsed.dump() + " is given twice");
        return true;
    });
}

} // namespace

PanelDescription parse_panel_description(const std::string &file, std::string_view text) {
    json value;
    try {
        value = parse_json(file, text);
    } catch (const json::exception &error) {
        std::string message = error.what();
        message.erase(0, message.find("] ") + 2); // nlohmann's own code
        throw Failure(file, "not JSON: " + message);
    }
    return parse(Node(file, value));
}

} // namespace oxel::tools

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::string two_colours = R"("colours": [{"name": "k", "rgb": [0, 0, 0], "tcon": 7},)"
                                R"( {"name": "w", "lab": [100, 0, 0], "tcon": 9}]})";

class Command : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = fs::temp_directory_path() / "oxel-test-XXXXXX";
        ASSERT_TRUE(mkdtemp(name.data()));
        fs::current_path(name);
        // Two rows: black, white, white, white; white, white, white, black.
        write("photo.ppm", "P6 4 2 255\n" + std::string(3, '\0') + std::string(18, '\xFF') +
                               std::string(3, '\0'));
        write("panel.json", R"({"name": "p", )" + two_colours);
    }

    void TearDown() override {
        const fs::path folder = fs::current_path();
        fs::current_path("/");
        fs::remove_all(folder);
    }

    static void write(const std::string &path, const std::string &bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    static std::string read(const std::string &path) {
        std::ostringstream bytes;
        bytes << std::ifstream(path, std::ios::binary).rdbuf();
        return bytes.str();
    }

    /// Returns the exit code; what the command wrote is in the files "out" and "err".
    static int run(const std::string &arguments) {
        return WEXITSTATUS(
            std::system(("'" OXEL_COMMAND "' " + arguments + " >out 2>err").c_str()));
    }

    static int render(const std::string &arguments, const std::string &panel = "panel.json") {
        return run("render " + arguments + " --panel " + panel + " -o frame");
    }

    /// Expects exit code 1, one line on the standard error, and no new files.
    static void expect_failure(int exit_code, const std::string &message) {
        const std::string error = read("err");
        EXPECT_EQ(exit_code, 1) << message;
        EXPECT_TRUE(error.starts_with("oxel: " + message)) << error << "instead of " << message;
        EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
        EXPECT_EQ(read("out"), "");
        for (const auto &entry : fs::recursive_directory_iterator("."))
            EXPECT_FALSE(entry.path().filename().string().starts_with("frame")) << entry.path();
    }
};

TEST_F(Command, WritesFrames) {
    const struct {
        const char *arguments;
        const char *panel_keys;
        const char *expected;
    } cases[] = {
        {"", "", "79999997"},
        {"--frame rgb", "", "777999999999999999999777"},
        {"", R"("tft_layout": 1, )", "79999997"}, // 8x1: columns interleaved
        {"", R"("tft_layout": 3, )", "99977999"},
        {"", R"("tft_layout": 4, )", "79999997"},
        {"", R"("tft_layout": 5, )", "99799799"},
        {"--size 2x4 --fit contain", "", "9999"},
        {"--size 4x2 --fit stretch", R"("width": 9, "height": 9, )", "79999997"},
    };
    for (const auto &[arguments, keys, expected] : cases) {
        write("keyed.json", std::string("{") + keys + R"("name": "p", )" + two_colours);
        ASSERT_EQ(render(std::string("photo.ppm ") + arguments, "keyed.json"), 0) << read("err");
        std::string frame = read("frame");
        for (char &code : frame)
            code = static_cast<char>(code + '0');
        if (std::string(arguments).find("contain") != std::string::npos)
            frame = frame.substr(0, 2) + frame.substr(6); // the bands above and below
        EXPECT_EQ(frame, expected) << arguments << keys;
    }
}

TEST_F(Command, BuildsTheSamePackageEveryTimeAndRendersWithIt) {
    ASSERT_EQ(run("package build panel.json -o a.lut"), 0);
    ASSERT_EQ(run("package build panel.json -o b.lut"), 0);
    EXPECT_EQ(read("a.lut"), read("b.lut"));
    ASSERT_EQ(run("package info a.lut"), 0);
    ASSERT_EQ(render("photo.ppm", "a.lut"), 0);
    EXPECT_EQ(read("frame").size(), 8U);
}

TEST_F(Command, ReportsOnPackagesAndDrawsCharts) {
    ASSERT_EQ(run("package build panel.json -o p.lut --intent vivid --report p.html"), 0);
    EXPECT_NE(read("out").find("stucki-serpentine"), std::string::npos);
    EXPECT_EQ(read("p.html").find("http"), std::string::npos); // needs nothing beside itself
    EXPECT_EQ(run("package build panel.json -o frame --intent bright"), 2);
    EXPECT_NE(read("err").find("--intent"), std::string::npos);
    expect_failure(run("package build panel.json -o frame --report frame.svg"), "frame.svg: ");
    expect_failure(run("chart scene --panel p.lut -o frames"), "p.lut: has no size");
    ASSERT_EQ(run("chart patches --panel p.lut --size 3x2 -o charts"), 0) << read("err");
    EXPECT_EQ(read("charts/colour-00.bin"), std::string(6, 7));
    EXPECT_EQ(read("charts/colour-01.bin"), std::string(6, 9));
    for (const std::string chart : {"scene", "gradients"}) {
        ASSERT_EQ(run("chart " + chart + " --panel p.lut --size 40x30 -o charts"), 0)
            << read("err");
        ASSERT_EQ(render("charts/" + chart + ".png --size 40x30", "p.lut"), 0);
        EXPECT_EQ(read("frame"), read("charts/" + chart + ".bin"));
        fs::remove("frame");
    }
}

TEST_F(Command, ExaminesDamagedPackages) {
    ASSERT_EQ(run("package build panel.json -o whole"), 0);
    const std::string whole = read("whole");
    for (const std::size_t length : {0U, 27U, 28U, 31U, 32U, 40U, 700000U, 1048607U}) {
        write("cut", whole.substr(0, length));
        EXPECT_EQ(run("package info cut"), 1) << length;
        EXPECT_TRUE(read("err").starts_with("oxel: cut: ")) << length;
    }
    for (std::size_t offset = 10; offset < 28; ++offset) {
        std::string damaged = whole;
        damaged[offset] = '\xFF';
        write("damaged", damaged);
        EXPECT_EQ(run("package info damaged"), 1) << offset;
    }
}

TEST_F(Command, NamesTheKeyOfABadDescription) {
    const std::string k = R"({"name": "k", "rgb": [0, 0, 0], "tcon": 0})";
    const auto colours = [&](const std::string &second) {
        return R"({"name": "p", "colours": [)" + k + ", " + second + "]}";
    };
    std::string many = R"({"name": "p", "colours": [)" + k;
    for (int i = 0; i < 256; ++i)
        many += "," + k;
    const struct {
        std::string json;
        const char *message;
    } cases[] = {
        {"", "not JSON: parse error at line 1, column 1"},
        {"{\n\"name\" 1}", "not JSON: parse error at line 2, column 8"},
        {"[]", "must be an object"},
        {R"({"name": "p", "colors": []})", "unknown key \"colors\""},
        {R"({"name": "p"})", "colours: is missing"},
        {R"({"name": "p", "name": "q", )" + two_colours, "key \"name\" is given twice"},
        {R"({"name": 1, )" + two_colours, "name: must be a string"},
        {R"({"name": "p", "width": 1, )" + two_colours, "height: is missing"},
        {R"({"name": "p", "width": 0, "height": 1, )" + two_colours, "width: must be an integer"},
        {R"({"name": "p", "width": 99999, "height": 99999, )" + two_colours, "width x height"},
        {R"({"name": "p", "tft_layout": 6, )" + two_colours, "tft_layout: must be an integer"},
        {R"({"name": "p", "colours": []})", "colours: must be an array of 2 to 256 elements"},
        {many + "]}", "colours: must be an array of 2 to 256 elements"},
        {colours(R"({"rgb": [0, 0, 0], "tcon": 0})"), "colours[1].name: is missing"},
        {colours(R"({"name": "w", "tcon": 0})"), "colours[1]: must have one of rgb and lab"},
        {colours(R"({"name": "w", "rgb": [1, 1, 1], "lab": [1, 1, 1], "tcon": 0})"),
         "colours[1]: must have one of rgb and lab"},
        {colours(R"({"name": "w", "rgb": [0, 256, 0], "tcon": 0})"),
         "colours[1].rgb[1]: must be an integer from 0 to 255"},
        {colours(R"({"name": "w", "rgb": [0, 0.5, 0], "tcon": 0})"),
         "colours[1].rgb[1]: must be an integer from 0 to 255"},
        {colours(R"({"name": "w", "rgb": [0, 0], "tcon": 0})"),
         "colours[1].rgb: must be an array of 3 elements"},
        {colours(R"({"name": "w", "lab": [101, 0, 0], "tcon": 0})"),
         "colours[1].lab[0]: must be a number from 0 to 100"},
        {colours(R"({"name": "w", "rgb": [0, 0, 0], "tcon": -1})"),
         "colours[1].tcon: must be an integer from 0 to 255"},
    };
    for (const auto &[json, message] : cases) {
        write("bad.json", json);
        expect_failure(run("package build bad.json -o frame"), std::string("bad.json: ") + message);
    }
}

TEST_F(Command, WarnsOfClippedColoursAndRepeatedCodes) {
    write("odd.json", R"({"name": "p", "colours": [{"name": "k", "rgb": [0, 0, 0], "tcon": 3},)"
                      R"( {"name": "g", "lab": [50, -120, 0], "tcon": 3}]})");
    ASSERT_EQ(run("package build odd.json -o odd.lut"), 0);
    EXPECT_NE(read("err").find("odd.json: colours[1].lab: warning: "), std::string::npos);
    EXPECT_NE(read("err").find("odd.json: colours[1].tcon: warning: "), std::string::npos);
}

/// An uncompressed TIFF of one strip, whose bytes are all 0.
std::string tiff(int width, int height, int samples, int photometric, int orientation) {
    const int tags[][2] = {{256, width},       {257, height},
                           {258, 8},           {259, 1},
                           {262, photometric}, {273, 8 + 6 + 12 * 10},
                           {274, orientation}, {277, samples},
                           {278, height},      {279, width * height * samples}};
    std::string file{'I', 'I', 42, 0, 8, 0, 0, 0, 10, 0};
    for (const auto &[tag, value] : tags)
        for (const int byte :
             {tag & 255, tag >> 8, 3, 0, 1, 0, 0, 0, value & 255, value >> 8, 0, 0})
            file += static_cast<char>(byte);
    return file + std::string(4, '\0') + std::string(std::size_t(width * height * samples), '\0');
}

TEST_F(Command, ReadsPicturesAsTheyAreMeant) {
    ASSERT_EQ(run("package build panel.json -o p.lut"), 0);
    write("turned.tif", tiff(4, 2, 3, 2, 6));
    ASSERT_EQ(render("turned.tif", "p.lut"), 0);
    EXPECT_EQ(read("out"), "frame: 2x4, 8 bytes\n");
    write("cmyk.tif", tiff(2, 2, 4, 5, 1)); // no ink at all
    ASSERT_EQ(render("cmyk.tif"), 0) << read("err");
    EXPECT_EQ(read("frame"), std::string(4, 9));
    write("clear.svg", R"(<svg xmlns="http://www.w3.org/2000/svg" width="2" height="1"/>)");
    ASSERT_EQ(render("clear.svg --size 3x3"), 0) << read("err");
    EXPECT_EQ(read("frame"), std::string(9, 9));
}

TEST_F(Command, RefusesBrokenPictures) {
    const std::string hex = // a grey JPEG of 16 x 16 pixels
        "ffd8ffe000104a46494600010102000a000a0000ffdb0043001b12141714111b1716171e1c1b2028422b282525"
        "28513a3d3042605565645f555d5b6a7899816a7190735b5d85b586909ea3abadab6780bcc9baa6c799a8aba4ff"
        "c0000b080010001001011100ffc40014000100000000000000000000000000000005ffc4001810000203000000"
        "0000000000000000000000054381c1ffda0008010100003f004dcc37816de2bc14730de05b78af0fffd9";
    std::string jpeg;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        jpeg += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    write("whole.jpg", jpeg);
    ASSERT_EQ(render("whole.jpg --preview whole.png"), 0) << read("err");
    fs::remove("frame");
    write("cut.jpg", jpeg.substr(0, jpeg.size() - 10));
    write("cut.png", read("whole.png").substr(0, 60));
    write("text.jpg", "no picture");
    for (const std::string file : {"cut.jpg", "cut.png", "text.jpg", "missing.jpg"})
        expect_failure(render(file), file + ": ");
}

TEST_F(Command, LeavesNothingBehindWhenAnOutputFails) {
    write("old", "old");
    fs::create_directory("folder");
    const struct {
        const char *arguments;
        const char *message;
    } cases[] = {
        {"photo.ppm --preview missing/p.png", "missing/p.png: "},
        {"photo.ppm --preview folder", "folder: "},
        {"photo.ppm --preview ./frame", "./frame: is named for two outputs"},
        {"photo.ppm --preview panel.json", "panel.json: "},
        {"photo.ppm --preview folder/../panel.json", "folder/../panel.json: "},
        {"photo.ppm --nominal n.png --preview old", "panel.json: --nominal needs"},
        {"missing.ppm --preview old", "missing.ppm: "},
    };
    for (const auto &[arguments, message] : cases)
        expect_failure(render(arguments), message);
    EXPECT_EQ(read("old"), "old");
    expect_failure(run("package build panel.json -o panel.json"), "panel.json: ");
    write("odd.json", R"({"name": "p", "tft_layout": 1, )" + two_colours);
    expect_failure(render("photo.ppm --size 2x3", "odd.json"), "odd.json: tft_layout 1 would drop");
}

TEST_F(Command, TellsAWrongCommandLine) {
    for (const char *arguments :
         {"", "paint", "render photo.ppm", "render photo.ppm --panel panel.json",
          "render photo.ppm --panel panel.json -o frame --dither none",
          "render photo.ppm --panel panel.json -o frame --size 4",
          "render photo.ppm --panel panel.json -o frame --size 4x0",
          "render photo.ppm --panel panel.json -o frame --size 99999x99999", "package"})
        EXPECT_EQ(run(arguments), 2) << arguments;
    EXPECT_FALSE(fs::exists("frame"));
    EXPECT_EQ(run("--help"), 0);
    EXPECT_EQ(run("--version"), 0);
    EXPECT_EQ(read("out"), "Current Version: v2.2.1\n");
}

TEST_F(Command, RendersForTheBuiltInPanel) {
    ASSERT_EQ(render("photo.ppm --preview p.png --nominal n.png", "six-colour"), 0) << read("err");
    EXPECT_EQ(fs::file_size("frame"), 1600U * 1200U);
    EXPECT_EQ(render("p.png --fit stretch", "six-colour"), 0) << read("err");
}

} // namespace

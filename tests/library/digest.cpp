// A fixed set of pseudo-random calls over every entry of the library, and a digest of all that
// they return. It must come out the same on every processor, in every form, and on many threads
// at once.
//
//   digest [EXPECTED [THREADS]]
//
// EXPECTED is a file of what the program prints without arguments. Inputs and outputs end at
// unreadable pages, those that a thread makes begin at them.
#include "Oxel_Morvel6_render.h"
#include "diffusion.h"
#include "forms/forms.h"
#include "support.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#ifndef __wasi__ // where there are none
#include <thread>
#endif

namespace {

/// FNV-1a of 64 bits.
class Digest {
  public:
    void add(const std::uint8_t *bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            value_ = (value_ ^ bytes[i]) * 0x100000001B3U;
    }
    void add(const GuardedBytes &bytes) { add(bytes.get(), bytes.size()); }
    void add(std::uint64_t number) {
        for (int i = 0; i < 64; i += 8)
            value_ = (value_ ^ (number >> i & 255)) * 0x100000001B3U;
    }
    void add(std::int32_t number) { add(std::uint64_t(std::uint32_t(number))); }
    /// The processor chooses the sign and payload of a NaN.
    void add(double number) {
        const auto bits = std::bit_cast<std::uint64_t>(number);
        const bool nan = bits << 1 > 0xFFE0000000000000U;
        add(nan ? ~std::uint64_t{0} : bits);
    }
    std::uint64_t value() const { return value_; }

  private:
    std::uint64_t value_ = 0xCBF29CE484222325U;
};

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double no_number = std::numeric_limits<double>::quiet_NaN();

/// The choices behind a run of calls.
struct Calls {
    Random random;
    const GuardedBytes &pixels; // which all threads read
    Digest digest{};

    int below(int limit) { return random_below(random, limit); }
    bool rarely() { return below(30) == 0; }
    std::uint32_t selector(int values) {
        return static_cast<std::uint32_t>(rarely() ? values : below(values));
    }
    std::int32_t any_int() {
        return rarely() ? std::bit_cast<std::int32_t>(std::uint32_t(random())) : below(401) - 200;
    }
    double any_double() {
        std::uint64_t bits = random();
        bits = bits << 32 | random();
        const double numbers[] = {std::bit_cast<double>(bits),
                                  below(2000) / 256.0 - 2,
                                  0.0,
                                  below(40) - 20.0,
                                  infinity,
                                  no_number};
        return numbers[rarely() ? below(6) : 1 + 2 * below(2)];
    }

    struct Picture {
        int width, height;
        std::uint32_t order, output_order, mode;
        std::uint8_t *source;
        GuardedBytes output; // which may be the input
        std::uint8_t *input() const { return source ? source : output.get(); }
    };
    /// Small, tall enough for many blocks of rows, or wide enough for segments.
    Picture picture(int largest = 3) {
        const int kind = below(16) < 12 ? 0 : below(largest);
        int width = kind == 2 ? 500 + below(1600) : 1 + below(40);
        int height = 1 + below(kind == 2 ? 9 : kind == 1 ? 100 : 24);
        if (rarely())
            (below(2) ? width : height) -= 40;
        const auto bytes = 3 * static_cast<std::size_t>(std::max(width, 0)) *
                           static_cast<std::size_t>(std::max(height, 0));
        std::uint8_t *input = pixels.get() + pixels.size() - bytes;
        const bool in_place = below(2) != 0;
        return {width,
                height,
                selector(2),
                selector(2),
                selector(oxel::dithering_modes),
                in_place ? nullptr : input,
                GuardedBytes(in_place ? Bytes(input, input + bytes) : Bytes(bytes, 0xEE))};
    }
};

void render(Calls &c) {
    const auto p = c.picture();
    c.digest.add(Oxel_Morvel6_render(p.input(), p.order, p.output.get(), p.output_order, p.width,
                                     p.height, p.mode, c.rarely() ? 0 : 1 + c.below(3)));
    c.digest.add(p.output);
}

void render_all(Calls &c) {
    const auto p = c.picture();
    const GuardedBytes tcon(p.output.bytes()), nominal(p.output.bytes());
    const bool shared = c.rarely();
    c.digest.add(Oxel_Morvel6_render_All(p.input(), p.order, shared ? p.output.get() : tcon.get(),
                                         nominal.get(), p.output.get(), nullptr, p.width, p.height,
                                         p.mode));
    for (const auto *output : {&tcon, &nominal, &p.output})
        c.digest.add(*output);
}

void render_guarded(Calls &c) {
    const auto p = c.picture(2);
    const double threshold = c.rarely() ? c.any_double() : std::ldexp(p.height, -c.below(12));
    std::int32_t verdict = -7;
    c.digest.add(Oxel_Morvel6_render_with_powerGuard(
        p.input(), p.order, p.output.get(), p.output_order, p.width, p.height, p.mode,
        c.rarely() ? 4 : 1 + c.below(3), threshold, &verdict));
    c.digest.add(verdict);
    c.digest.add(p.output);
}

void adjust(Calls &c) {
    const auto p = c.picture();
    const std::int32_t amounts[] = {c.any_int(), c.any_int(), c.any_int(), c.any_int()};
    c.digest.add(Oxel_image_adjustment(p.input(), p.order, p.output.get(), p.output_order, p.width,
                                       p.height, amounts[0], amounts[1], amounts[2], amounts[3],
                                       c.below(2) ? 1.0 : c.any_double()));
    c.digest.add(p.output);
}

void transfer(Calls &c) {
    auto p = c.picture();
    const GuardedBytes image(p.output.bytes());
    c.digest.add(Oxel_TFT_format_transfer(image.get(), &p.width, &p.height, c.below(7)));
    for (const int dimension : {p.width, p.height})
        c.digest.add(dimension);
    c.digest.add(image);
}

void numbers(Calls &c) {
    const double x = c.any_double(), y = c.any_double();
    const double tiny = std::ldexp(c.below(1 << 20), -30);
    for (const double result : {my_exp(x), my_ln(x), my_ln(tiny), my_pow(x, y), my_pow(tiny, y),
                                my_pow(tiny, 2.0), my_int_pow(x, c.any_int())})
        c.digest.add(result);
}

void log(Calls &c) {
    const char *text = Oxel_get_updateLog();
    c.digest.add(reinterpret_cast<const std::uint8_t *>(text), std::strlen(text));
}

constexpr struct {
    const char *name;
    void (*call)(Calls &);
    int calls; // for each package
} sections[] = {{"render", render, 100},
                {"render_All", render_all, 40},
                {"guard", render_guarded, 24},
                {"adjustment", adjust, 40},
                {"transfer", transfer, 60},
                {"numbers", numbers, 150},
                {"log", log, 1}};
constexpr std::size_t section_count = std::size(sections);
using Results = std::vector<std::uint64_t>;

Results run_sections(unsigned seed, const GuardedBytes &pixels) {
    Results results;
    for (const auto &section : sections) {
        Calls calls{Random(seed + 100 * unsigned(results.size())), pixels};
        for (int i = 0; i < section.calls; ++i)
            section.call(calls);
        results.push_back(calls.digest.value());
    }
    return results;
}

/// Packages without tables, of all lengths that the CRC treats differently, some of them damaged.
void init(Random &random, Digest &digest) {
    for (std::size_t size = 28; size < 300; ++size) {
        Bytes package = random_bytes(random, size);
        put_u32(package, 6, static_cast<std::uint32_t>(size + (random() % 8 == 0)));
        put_crc(package);
        if (random() % 8 == 0)
            package[random() % size] ^= 1;
        GuardedBytes::guards_start = size % 3 == 0;
        const GuardedBytes guarded(package);
        digest.add(Oxel_Morvel6_render_init(guarded.get(), guarded.size()));
        digest.add(Oxel_Morvel6_render(guarded.get(), 0, guarded.get(), 0, 2, 2, 0, 1));
    }
    GuardedBytes::guards_start = false;
}

/// Noise, or slopes with hardly any.
GuardedBytes pool(Random &random, bool noise) {
    Bytes bytes = random_bytes(random, 64000);
    for (std::size_t i = 0; !noise && i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>((i / 40 + i % 3 * 60 + bytes[i] % 2) & 255);
    return GuardedBytes(bytes);
}

/// Nothing if threads disagree.
Results run_all(unsigned threads) {
    Digest digests[section_count + 1];
    unsigned seed = 0;
    for (const int colours : {2, 3, 6, 6, 8, 16, 7, 17, 6, 256}) {
        Random random(++seed);
        init(random, digests[section_count]);
        const bool sensible =
            seed % 2 != 0 && colours < 10; // where error spreads quite differently
        adopt((sensible ? nearest_tables : random_tables)(random, colours)
                  .package({3, 0, 2, 1}, seed));
        const GuardedBytes pixels = pool(random, seed % 3 == 0);
        const Results results = run_sections(seed, pixels);
        std::vector<Results> others(threads);
#ifndef __wasi__
        std::vector<std::thread> running;
        for (auto &other : others)
            running.emplace_back([&] {
                GuardedBytes::guards_start = true;
                other = run_sections(seed, pixels);
            });
        for (auto &thread : running)
            thread.join();
#endif
        if (std::any_of(others.begin(), others.end(),
                        [&](auto &other) { return other != results; }))
            return {};
        for (std::size_t i = 0; i < section_count; ++i)
            digests[i].add(results[i]);
    }
    Results results;
    for (const Digest &digest : digests)
        results.push_back(digest.value());
    return results;
}

// No streams from here on: MemorySanitizer does not know what they write.

void print(const Results &results) {
    for (std::size_t i = 0; i < results.size(); ++i)
        std::printf("%" PRIx64 " %s\n", results[i], i < section_count ? sections[i].name : "init");
}

Results read_results(const char *name) {
    Results results;
    if (std::FILE *file = std::fopen(name, "r")) {
        for (std::uint64_t value; std::fscanf(file, "%" SCNx64 " %*s", &value) == 1;)
            results.push_back(value);
        std::fclose(file);
    }
    return results;
}

} // namespace

int main(int argc, char **argv) {
    const auto threads = static_cast<unsigned>(argc > 2 ? std::atoi(argv[2]) : 0);
    if (argc < 2) {
        print(run_all(threads));
        return 0;
    }
    const Results expected = read_results(argv[1]);
    int differing = 0;
    for (const oxel::Form *form : oxel::all_forms()) {
        if (!form->runs_here())
            continue;
        oxel::force_form(form);
        const Results results = run_all(threads);
        const bool same = results == expected;
        differing += !same;
        std::printf("%s: %s\n", form->name, same ? "as expected" : "differs:");
        if (!same)
            print(results);
    }
    return differing;
}

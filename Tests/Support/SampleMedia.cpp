#include "SampleMedia.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numbers>

#include "Support/Error.h"

namespace kelvane::testing {

namespace {

constexpr double gridStart = 0.35;
constexpr double gridSide = 0.3;
constexpr int gridCells = 4;
constexpr int numberBits = 12;
constexpr int bright = 235;
constexpr int dark = 16;

/// The sixteen cells of a number: twelve bits from the lowest, then always bright, always dark, the parity and its
/// opposite.
std::array<bool, 16> cellsOf(int number) {
    std::array<bool, 16> cells{};
    const unsigned bits = static_cast<unsigned>(number) % sampleNumbers;
    for (int i = 0; i < numberBits; ++i) cells[i] = ((bits >> i) & 1U) != 0;
    cells[12] = true;
    cells[13] = false;
    cells[14] = std::popcount(bits) % 2 != 0;
    cells[15] = !cells[14];
    return cells;
}

void writeLittle(std::ofstream& file, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file.put(static_cast<char>(value >> (8 * i)));
}

void writeWave(const std::string& path, const std::vector<float>& sound, int rate) {
    std::ofstream file(path, std::ios::binary);
    const auto bytes = static_cast<std::uint32_t>(sound.size() * 2);
    file << "RIFF";
    writeLittle(file, 36 + bytes, 4);
    file << "WAVEfmt ";
    writeLittle(file, 16, 4);
    writeLittle(file, 1, 2);
    writeLittle(file, 1, 2);
    writeLittle(file, static_cast<std::uint32_t>(rate), 4);
    writeLittle(file, static_cast<std::uint32_t>(rate) * 2, 4);
    writeLittle(file, 2, 2);
    writeLittle(file, 16, 2);
    file << "data";
    writeLittle(file, bytes, 4);
    for (const float sample : sound)
        writeLittle(file, static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(sample * 32767))), 2);
    check(file.good(), "a sample sound can't be written");
}

void writePictures(const std::string& path, const SampleMovie& movie) {
    std::ofstream file(path, std::ios::binary);
    file << "YUV4MPEG2 W" << movie.width << " H" << movie.height << " F" << movie.rateNumerator << ":"
         << movie.rateDenominator << " Ip A1:1 C420mpeg2\n";
    for (int i = 0; i < movie.frames; ++i) {
        const std::vector<std::uint8_t> picture = samplePicture(movie.width, movie.height, movie.firstNumber + i);
        file << "FRAME\n";
        file.write(reinterpret_cast<const char*>(picture.data()), static_cast<std::streamsize>(picture.size()));
    }
    check(file.good(), "sample pictures can't be written");
}

void append(std::vector<std::string>& words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
}

/// Power of one frequency in a stretch of sound.
double powerAt(std::span<const float> sound, double frequency, int rate) {
    const double turn = 2 * std::numbers::pi * frequency / rate;
    double real = 0;
    double imaginary = 0;
    for (std::size_t i = 0; i < sound.size(); ++i) {
        real += sound[i] * std::cos(turn * static_cast<double>(i));
        imaginary += sound[i] * std::sin(turn * static_cast<double>(i));
    }
    return real * real + imaginary * imaginary;
}

/// The movie's bytes, and where the boxes within a box lie.
struct Box {
    std::size_t start = 0;
    std::size_t content = 0;
    std::size_t end = 0;
    std::string type;
};

std::uint32_t readBig(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

void writeBig(std::string& bytes, std::size_t at, std::int32_t value) {
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(static_cast<std::uint32_t>(value) >> (24 - 8 * i));
}

std::vector<Box> boxesOf(const std::string& bytes, std::size_t from, std::size_t end) {
    std::vector<Box> boxes;
    while (from + 8 <= end) {
        std::uint64_t size = readBig(bytes, from);
        std::size_t header = 8;
        if (size == 1) {
            size = std::uint64_t{readBig(bytes, from + 8)} << 32 | readBig(bytes, from + 12);
            header = 16;
        }
        if (size == 0) size = end - from;
        if (size < header || from + size > end) break;
        boxes.push_back({from, from + header, from + size, bytes.substr(from + 4, 4)});
        from += size;
    }
    return boxes;
}

}  // namespace

bool hasSampleTool() {
    static const bool has = runTool({"ffmpeg", "-version"}) == 0;
    return has;
}

int runTool(const std::vector<std::string>& words, std::string* output) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", 0, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    pid_t process = 0;
    const int failed = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    std::array<char, 4096> buffer{};
    for (ssize_t count = 1; failed == 0 && count != 0;) {
        count = ::read(ends[0], buffer.data(), buffer.size());
        if (count < 0 && errno != EINTR) break;
        if (count > 0 && output != nullptr) output->append(buffer.data(), static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    if (failed != 0) return -1;
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void runSampleTool(const std::vector<std::string>& words) {
    std::vector<std::string> all{"ffmpeg", "-y", "-nostdin", "-v", "error"};
    append(all, words);
    std::string output;
    if (runTool(all, &output) == 0) return;
    for (const std::string& word : all) std::fprintf(stderr, "%s ", word.c_str());
    std::fprintf(stderr, "\n%s\n", output.c_str());
    check(false, "a sample could not be made");
}

const std::vector<std::string>& plainColorWords() {
    static const std::vector<std::string> words{"-color_primaries", "bt709", "-color_trc",   "bt709",
                                                "-colorspace",      "bt709", "-color_range", "tv"};
    return words;
}

FileURL makeSampleMovie(const std::string& folder, const std::string& name, const SampleMovie& movie) {
    const std::string base = folder + "/" + name;
    const std::string pictures = base + ".y4m";
    const std::string sound = base + ".source.wav";
    std::vector<std::string> words;
    int inputs = 0;
    std::vector<std::string> maps;
    if (!movie.video.empty()) {
        writePictures(pictures, movie);
        if (movie.soundDelay < 0) append(words, {"-itsoffset", std::to_string(-movie.soundDelay)});
        append(words, {"-f", "yuv4mpegpipe", "-i", pictures});
        append(maps, {"-map", std::to_string(inputs++)});
    }
    if (movie.soundSeconds > 0) {
        writeWave(sound, sampleSound(movie.soundSeconds, movie.soundRate), movie.soundRate);
        if (movie.soundDelay > 0) append(words, {"-itsoffset", std::to_string(movie.soundDelay)});
        append(words, {"-i", sound});
        append(maps, {"-map", std::to_string(inputs++)});
    }
    append(words, maps);
    if (!movie.videoFilter.empty()) append(words, {"-vf", movie.videoFilter});
    append(words, movie.video);
    if (movie.soundSeconds > 0) append(words, movie.audio);
    // Else the late start is filled with copies of the first picture.
    if (movie.soundDelay < 0) append(words, {"-fps_mode", "passthrough"});
    append(words, movie.output);
    words.push_back(base);
    runSampleTool(words);
    std::filesystem::remove(pictures);
    std::filesystem::remove(sound);
    return FileURL::fromPath(base);
}

FileURL makeSampleSound(const std::string& folder, const std::string& name, double seconds, int rate,
                        const std::vector<std::string>& words) {
    SampleMovie movie;
    movie.video.clear();
    movie.soundSeconds = seconds;
    movie.soundRate = rate;
    movie.audio = words;
    return makeSampleMovie(folder, name, movie);
}

std::vector<std::uint8_t> samplePicture(int width, int height, int number) {
    const std::array<bool, 16> cells = cellsOf(number);
    const int halfWidth = (width + 1) / 2;
    const int halfHeight = (height + 1) / 2;
    std::vector<std::uint8_t> picture;
    picture.reserve(static_cast<std::size_t>(width) * height + 2 * static_cast<std::size_t>(halfWidth) * halfHeight);
    // -1 outside of the grid.
    const auto cellAt = [&](double x, double y) {
        const double column = (x - gridStart) / gridSide * gridCells;
        const double row = (y - gridStart) / gridSide * gridCells;
        if (column < 0 || row < 0 || column >= gridCells || row >= gridCells) return -1;
        return static_cast<int>(row) * gridCells + static_cast<int>(column);
    };
    const auto cornerAt = [](double x, double y) -> const SampleColor& {
        return sampleCorners[(y < 0.5 ? 0 : 2) + (x < 0.5 ? 0 : 1)];
    };
    const auto fill = [&](int columns, int rows, auto value) {
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                const double x = (column + 0.5) / columns;
                const double y = (row + 0.5) / rows;
                picture.push_back(static_cast<std::uint8_t>(value(cellAt(x, y), cornerAt(x, y))));
            }
        }
    };
    fill(width, height, [&](int cell, const SampleColor& corner) {
        return cell < 0 ? corner.y : cells[static_cast<std::size_t>(cell)] ? bright : dark;
    });
    fill(halfWidth, halfHeight, [](int cell, const SampleColor& corner) { return cell < 0 ? corner.u : 128; });
    fill(halfWidth, halfHeight, [](int cell, const SampleColor& corner) { return cell < 0 ? corner.v : 128; });
    return picture;
}

std::optional<int> readSampleNumber(const std::function<int(double x, double y)>& luma) {
    std::array<bool, 16> cells{};
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const double x = gridStart + gridSide * (static_cast<double>(i % gridCells) + 0.5) / gridCells;
        const double y = gridStart + gridSide * (static_cast<double>(i / gridCells) + 0.5) / gridCells;
        const int value = luma(x, y);
        // Grey is a picture that is neither one number nor the other.
        if (value > 90 && value < 165) return std::nullopt;
        cells[i] = value >= 128;
    }
    int number = 0;
    for (int i = 0; i < numberBits; ++i) number |= (cells[static_cast<std::size_t>(i)] ? 1 : 0) << i;
    if (cells != cellsOf(number)) return std::nullopt;
    return number;
}

std::optional<int> readSampleNumber(const std::uint8_t* plane, int stride, int width, int height) {
    return readSampleNumber([&](double x, double y) {
        const int column = std::clamp(static_cast<int>(x * width), 0, width - 1);
        const int row = std::clamp(static_cast<int>(y * height), 0, height - 1);
        return static_cast<int>(plane[static_cast<std::ptrdiff_t>(row) * stride + column]);
    });
}

double sampleBurstFrequency(int number) { return 600 + 100.0 * (number % sampleBurstNumbers); }

std::vector<float> sampleSound(double seconds, int rate, float peak) {
    /// Each burst swells and fades over this long, so that it makes no click.
    constexpr double ramp = 0.002;
    std::vector<float> sound(static_cast<std::size_t>(std::llround(seconds * rate)));
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double time = static_cast<double>(i) / rate;
        const double number = std::floor(time / sampleBurstInterval + 1e-9);
        const double within = time - number * sampleBurstInterval;
        if (within >= sampleBurstLength) continue;
        const double swell = std::clamp(std::min(within, sampleBurstLength - within) / ramp, 0.0, 1.0);
        const double turn = 2 * std::numbers::pi * sampleBurstFrequency(static_cast<int>(number)) * within;
        sound[i] = static_cast<float>(peak * swell * std::sin(turn));
    }
    return sound;
}

std::vector<SampleBurst> findSampleBursts(std::span<const float> sound, int rate) {
    float peak = 0;
    for (const float sample : sound) peak = std::max(peak, std::abs(sample));
    if (peak < 0.003F) return {};
    const float threshold = peak * 0.3F;
    const auto gap = static_cast<std::size_t>(rate * 0.01);
    const auto length = static_cast<std::size_t>(rate * sampleBurstLength);
    std::vector<SampleBurst> bursts;
    for (std::size_t i = 0; i < sound.size();) {
        if (std::abs(sound[i]) < threshold) {
            ++i;
            continue;
        }
        const std::size_t start = i;
        std::size_t last = i;
        for (; i < sound.size() && i - last <= gap; ++i)
            if (std::abs(sound[i]) >= threshold) last = i;
        if (last - start < length * 8 / 10) continue;
        const std::span<const float> middle = sound.subspan(start + length / 10, length * 7 / 10);
        SampleBurst burst{static_cast<double>(start) / rate, 0};
        double best = -1;
        for (int number = 0; number < sampleBurstNumbers; ++number) {
            const double power = powerAt(middle, sampleBurstFrequency(number), rate);
            if (power > best) {
                best = power;
                burst.number = number;
            }
        }
        // The threshold is reached a little after the burst has begun.
        burst.at -= 0.0006;
        bursts.push_back(burst);
    }
    return bursts;
}

void setSampleMatrix(const FileURL& movie, double a, double b, double c, double d, double tx, double ty, double scale) {
    std::ifstream input(movie.path(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), {});
    bool done = false;
    for (const Box& moov : boxesOf(bytes, 0, bytes.size())) {
        if (moov.type != "moov") continue;
        for (const Box& track : boxesOf(bytes, moov.content, moov.end)) {
            if (track.type != "trak" || done) continue;
            for (const Box& header : boxesOf(bytes, track.content, track.end)) {
                if (header.type != "tkhd") continue;
                const std::size_t matrix = header.content + (bytes[header.content] == 1 ? 52 : 40);
                if (readBig(bytes, matrix + 36) == 0) continue;
                const double values[9] = {a, b, 0, c, d, 0, tx, ty, 1};
                for (std::size_t i = 0; i < 9; ++i) {
                    const double one = scale * (i % 3 == 2 ? 1 << 30 : 1 << 16);
                    writeBig(bytes, matrix + 4 * i, static_cast<std::int32_t>(std::lround(values[i] * one)));
                }
                done = true;
            }
        }
    }
    check(done, "a sample movie has no picture track");
    std::ofstream(movie.path(), std::ios::binary) << bytes;
}

void truncateSample(const FileURL& file, std::uint64_t bytes) { std::filesystem::resize_file(file.path(), bytes); }

}  // namespace kelvane::testing

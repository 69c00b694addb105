#include "CliSupport.hpp"
#include "Commands.hpp"
#include "core/LogEntry.hpp"
#include "platform/FFmpegAudioEncoder.hpp"

#include <QImage>
#include <QPainter>
#include <QRadialGradient>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <numbers>
#include <vector>

namespace lorvan::cli {
namespace {

namespace fs = std::filesystem;

constexpr int rate = 44100;
constexpr double discSeconds = 30.0;

// MARK: - Music

struct Note {
    double start;  // seconds on the disc's timeline (track 1's INDEX 01 is 0)
    double length; // seconds
    int midi;
    double gain;
    double pan; // -1 left … 1 right
};

enum class Timbre { bell, string, pluck };

class Mix {
public:
    Mix()
        : left_(static_cast<std::size_t>(discSeconds * rate))
        , right_(left_.size()) {}

    void add(const Note& note, Timbre timbre) {
        const double frequency = 440.0 * std::pow(2.0, (note.midi - 69) / 12.0);
        const auto first = static_cast<std::size_t>(note.start * rate);
        const auto count = static_cast<std::size_t>((note.length + 0.3) * rate);
        const double leftGain = note.gain * std::sqrt((1.0 - note.pan) / 2.0);
        const double rightGain = note.gain * std::sqrt((1.0 + note.pan) / 2.0);
        for (std::size_t i = 0; i < count && first + i < left_.size(); ++i) {
            const double t = static_cast<double>(i) / rate;
            const double phase = 2.0 * std::numbers::pi * frequency * t;
            double envelope = 0;
            double sample = 0;
            switch (timbre) {
            case Timbre::bell:
                envelope = std::min(1.0, t * 200.0) * std::exp(-3.0 * t);
                sample = std::sin(phase) + 0.4 * std::sin(2.0 * phase) + 0.15 * std::sin(3.01 * phase);
                break;
            case Timbre::string:
                envelope =
                    std::min(1.0, t * 8.0) * (t < note.length ? 1.0 : std::exp(-12.0 * (t - note.length)));
                sample = std::sin(phase + 0.3 * std::sin(2.0 * std::numbers::pi * 5.0 * t)) +
                         0.5 * std::sin(2.0 * phase) + 0.25 * std::sin(3.0 * phase);
                break;
            case Timbre::pluck:
                envelope = std::min(1.0, t * 400.0) * std::exp(-7.0 * t);
                sample = std::sin(phase) + 0.6 * std::sin(2.0 * phase) * std::exp(-10.0 * t);
                break;
            }
            left_[first + i] += leftGain * envelope * sample;
            right_[first + i] += rightGain * envelope * sample;
        }
    }

    // 16-bit stereo, interleaved, peak at about -2 dBFS.
    [[nodiscard]] std::vector<std::int32_t> samples() const {
        double peak = 1e-9;
        for (std::size_t i = 0; i < left_.size(); ++i)
            peak = std::max({peak, std::abs(left_[i]), std::abs(right_[i])});
        const double scale = 0.8 * 32767.0 / peak;
        std::vector<std::int32_t> out;
        out.reserve(left_.size() * 2);
        for (std::size_t i = 0; i < left_.size(); ++i) {
            out.push_back(static_cast<std::int32_t>(std::lround(left_[i] * scale)));
            out.push_back(static_cast<std::int32_t>(std::lround(right_[i] * scale)));
        }
        return out;
    }

private:
    std::vector<double> left_;
    std::vector<double> right_;
};

// Three short pieces, each with its own key, tempo and voice, so every track change is heard.
std::vector<std::int32_t> composeDisc() {
    Mix mix;
    // Track 1 (0–9 s): bright C major arpeggios over a walking bass, 120 bpm.
    const int chords[4][3] = {{60, 64, 67}, {65, 69, 72}, {67, 71, 74}, {60, 64, 67}};
    for (int bar = 0; bar < 4; ++bar) {
        const double barStart = bar * 2.0;
        for (int step = 0; step < 8; ++step) {
            const int tone = chords[bar][step % 3] + (step >= 4 ? 12 : 0);
            mix.add({barStart + step * 0.25, 0.25, tone, 0.35, step % 2 == 0 ? -0.4 : 0.4}, Timbre::bell);
        }
        mix.add({barStart, 1.9, chords[bar][0] - 24, 0.5, 0.0}, Timbre::pluck);
    }
    mix.add({8.0, 0.9, 72, 0.4, 0.0}, Timbre::bell);
    // Track 2's pregap (9–10 s): a quiet held fifth announcing the next key.
    mix.add({9.0, 0.8, 57, 0.12, -0.2}, Timbre::string);
    mix.add({9.0, 0.8, 64, 0.10, 0.2}, Timbre::string);
    // Track 2 (10–20 s): a slow A minor melody on strings, 80 bpm.
    const int melody[] = {69, 72, 76, 74, 72, 71, 69, 68, 69, 71, 72, 74, 76, 74, 72, 69};
    for (int i = 0; i < 16; ++i)
        mix.add({10.0 + i * 0.6, 0.55, melody[i], 0.3, 0.2}, Timbre::string);
    for (int i = 0; i < 5; ++i)
        mix.add({10.0 + i * 2.0, 1.9, i % 2 == 0 ? 45 : 41, 0.3, -0.3}, Timbre::string);
    // Track 3 (20–30 s): D dorian riff, then at its chapter (25 s) the riff an octave up, faster.
    const int riff[] = {62, 65, 69, 67, 65, 64, 62, 60};
    for (int i = 0; i < 16; ++i)
        mix.add({20.0 + i * 0.3125, 0.3, riff[i % 8], 0.35, -0.3}, Timbre::pluck);
    for (int i = 0; i < 24; ++i)
        mix.add({25.0 + i * 0.2, 0.2, riff[(i * 3) % 8] + 12, 0.3, 0.3 * ((i % 3) - 1)}, Timbre::bell);
    for (int i = 0; i < 5; ++i)
        mix.add({20.0 + i * 2.0, 1.9, i < 2 ? 38 : 43, 0.35, 0.0}, Timbre::pluck);
    return mix.samples();
}

// MARK: - Files

constexpr const char* releaseHeader = "REM DATE 2026\n"
                                      "REM DISCNUMBER 1\n"
                                      "REM TOTALDISCS 1\n"
                                      "REM COMPOSER \"Lorvan\"\n"
                                      "PERFORMER \"The Lorvan Ensemble\"\n"
                                      "TITLE \"Lorvan Demo Disc\"\n";

std::string trackHeader(int number, const char* title, const char* performer) {
    return std::string("  TRACK 0") + std::to_string(number) + " AUDIO\n    TITLE \"" + title +
           "\"\n    PERFORMER \"" + performer + "\"\n";
}

std::string singleFileSheet(const std::string& file) {
    return std::string(releaseHeader) + "FILE \"" + file + "\" WAVE\n" +
           trackHeader(1, "Morning Arpeggios", "The Lorvan Ensemble") +
           "    PREGAP 00:02:00\n    INDEX 01 00:00:00\n" + trackHeader(2, "A Minor Walk", "Lorvan Strings") +
           "    INDEX 00 00:09:00\n    INDEX 01 00:10:00\n" +
           trackHeader(3, "Two Moods", "The Lorvan Ensemble") +
           "    INDEX 01 00:20:00\n    INDEX 02 00:25:00\n";
}

std::string splitSheet(const std::vector<std::string>& files) {
    return std::string(releaseHeader) + "FILE \"" + files[0] + "\" WAVE\n" +
           trackHeader(1, "Morning Arpeggios", "The Lorvan Ensemble") +
           "    PREGAP 00:02:00\n    INDEX 01 00:00:00\n" + trackHeader(2, "A Minor Walk", "Lorvan Strings") +
           "    INDEX 00 00:09:00\nFILE \"" + files[1] + "\" WAVE\n    INDEX 01 00:00:00\nFILE \"" +
           files[2] + "\" WAVE\n" + trackHeader(3, "Two Moods", "The Lorvan Ensemble") +
           "    INDEX 01 00:00:00\n    INDEX 02 00:05:00\n";
}

void writeText(const fs::path& path, const std::string& text) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << text;
    stream.close();
    if (!stream)
        throw InputError("fileNotWritable", path, "Couldn't write '" + path.string() + "'",
                         "The file cannot be written.");
}

// Concentric rings in the colours of an LCD display: a disc that is recognisably Lorvan's own.
void writeCover(const fs::path& path) {
    QImage image(600, 600, QImage::Format_RGB32);
    image.fill(QColor(24, 28, 24));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QRadialGradient gradient(QPointF(300, 300), 280);
    gradient.setColorAt(0.0, QColor(180, 230, 120));
    gradient.setColorAt(0.6, QColor(60, 120, 70));
    gradient.setColorAt(1.0, QColor(20, 40, 30));
    painter.setBrush(gradient);
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPointF(300, 300), 280, 280);
    painter.setBrush(Qt::NoBrush);
    for (int ring = 0; ring < 12; ++ring) {
        painter.setPen(QPen(QColor(200, 255, 160, 40 + ring * 12), 2));
        painter.drawEllipse(QPointF(300, 300), 70 + ring * 17, 70 + ring * 17);
    }
    painter.setBrush(QColor(24, 28, 24));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPointF(300, 300), 40, 40);
    painter.end();
    if (!image.save(QString::fromStdString(path.string()), "PNG"))
        throw InputError("fileNotWritable", path, "Couldn't write '" + path.string() + "'",
                         "The image cannot be saved.");
}

fs::path defaultDirectory(bool split) {
    const char* cache = std::getenv("XDG_CACHE_HOME");
    const char* home = std::getenv("HOME");
    const fs::path base = cache && *cache ? fs::path(cache) : fs::path(home && *home ? home : ".") / ".cache";
    return base / "lorvan" / (split ? "demo-split" : "demo");
}

int runDemo(const std::string& directoryOption, bool split) {
    try {
        const fs::path directory =
            directoryOption.empty() ? defaultDirectory(split) : fs::path(directoryOption);
        std::error_code error;
        fs::create_directories(directory, error);
        if (error || !fs::is_directory(directory))
            throw InputError("directoryNotWritable", directory,
                             "Couldn't create '" + directory.string() + "'",
                             error ? error.message() + "." : "It is not a directory.");
        const auto samples = composeDisc();
        const std::string name = "Lorvan Demo";
        const fs::path sheet = directory / (name + ".cue");
        if (split) {
            // Each file ends where the next track's INDEX 01 is, so track 2's pregap closes file 1.
            const std::vector<std::pair<double, double>> spans{{0, 10}, {10, 20}, {20, 30}};
            const std::vector<std::string> files{"01 Morning Arpeggios.flac", "02 A Minor Walk.flac",
                                                 "03 Two Moods.flac"};
            for (std::size_t i = 0; i < files.size(); ++i) {
                const auto begin = static_cast<std::size_t>(spans[i].first * rate) * 2;
                const auto end = static_cast<std::size_t>(spans[i].second * rate) * 2;
                platform::writeAudioFile(directory / files[i], platform::AudioFileEncoding::flac, rate, 2, 16,
                                         std::span(samples).subspan(begin, end - begin));
                log("Wrote audio file", files[i]);
            }
            writeText(sheet, splitSheet(files));
        } else {
            platform::writeAudioFile(directory / (name + ".flac"), platform::AudioFileEncoding::flac, rate, 2,
                                     16, samples);
            log("Wrote audio file", name + ".flac");
            writeText(sheet, singleFileSheet(name + ".flac"));
        }
        log("Wrote cue sheet", sheet.filename().string());
        writeCover(directory / "cover.png");
        log("Wrote artwork", "cover.png");
        std::printf("%s\n", sheet.string().c_str());
        return exitSuccess;
    } catch (const LocalizedError& error) {
        return reportRefusal(error, false);
    }
}

} // namespace

void addDemoCommand(CLI::App& app, int& status) {
    auto* command =
        app.add_subcommand("demo", "Write Lorvan's demo disc: a FLAC file, a cue sheet and a cover");
    auto directory = std::make_shared<std::string>();
    auto split = std::make_shared<bool>(false);
    command->add_option("--dir", *directory,
                        "Folder to write into (default: the cache folder's lorvan/demo)");
    command->add_flag("--split", *split, "One file per track, each pregap at the end of the previous file");
    command->callback([directory, split, &status] { status = runDemo(*directory, *split); });
}

} // namespace lorvan::cli

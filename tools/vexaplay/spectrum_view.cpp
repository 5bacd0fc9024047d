#include "spectrum_view.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vexaengine.h"

namespace vexaplay {
namespace {

constexpr int kBands = 20;
constexpr int kBarRows = 8;
constexpr int kTopLevel = 24;  // the engine scales the loudest band to 24
constexpr int kMinColumns = 64;
constexpr int kMinRows = 16;    // the header lines above the display, and some slack
constexpr int kLineWidth = 78;  // never write into the last column: no wrap

bool LocaleIsUtf8() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        return std::strstr(value, "UTF-8") != nullptr || std::strstr(value, "utf8") != nullptr ||
               std::strstr(value, "utf-8") != nullptr;
    }
    return false;
}

std::string Fit(const std::string& text) { return text.size() > kLineWidth ? text.substr(0, kLineWidth) : text; }

// Columns of the terminal (and its rows), or 0 when the output is not one.
int TerminalColumns(bool tty, int& rows) {
    winsize size{};
    rows = 0;
    if (!tty || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    rows = size.ws_row;
    return size.ws_col;
}

}  // namespace

SpectrumView::SpectrumView() : tty_(isatty(STDOUT_FILENO) == 1), unicode_(LocaleIsUtf8()) {}

// kBarRows lines of bars, top row first: 20 bars two columns wide, or in the
// separate view 10 left and 10 right with a gap. Quiet bands (negative
// levels) show no bar; 24 fills the height.
std::string SpectrumView::Bars() const {
    int32_t levels[kBands] = {};
    VexaEngine_GetSpectrum(levels, separate_ ? 1 : 0);
    const char* full = unicode_ ? "\u2588\u2588" : "##";
    const char* half = unicode_ ? "\u2584\u2584" : "..";
    std::string out;
    for (int row = kBarRows - 1; row >= 0; --row) {
        std::string line = "  ";
        for (int band = 0; band < kBands; ++band) {
            if (separate_ && band == kBands / 2) line += "   ";
            // Height in half rows, 0 .. 2 * kBarRows.
            const int halves = std::clamp(levels[band], 0, kTopLevel) * 2 * kBarRows / kTopLevel;
            if (halves >= 2 * row + 2) line += full;
            else if (halves == 2 * row + 1) line += half;
            else line += "  ";
            line += ' ';
        }
        out.append(line).append("\x1b[K\n");
    }
    return out;
}

void SpectrumView::Draw(const std::string& position, const std::string& equalizer) {
    int rows = 0;
    const int columns = TerminalColumns(tty_, rows);
    if (columns < kMinColumns || rows < kMinRows) {
        if (drawnLines_ > 0) {
            std::printf("\n");  // leave the last drawing; go on below it
            drawnLines_ = 0;
        }
        // Short of the last column, so that a narrow terminal does not wrap.
        const int width = columns > 1 ? std::min(kLineWidth, columns - 1) : kLineWidth;
        std::printf("\r%-*.*s", width, width, (position + "  EQ " + equalizer).c_str());
        std::fflush(stdout);
        return;
    }
    std::string frame;
    // Back to the position line, then every line rewritten and its rest cleared.
    if (drawnLines_ > 0) frame.append("\x1b[").append(std::to_string(drawnLines_)).append("A");
    frame.append("\r").append(Fit(position)).append("\x1b[K\n");
    frame.append(Bars());
    std::string status = separate_ ? "  left | right" : "  both channels";
    status.append("   (s: view)   EQ ").append(equalizer).append("   (e: next curve)");
    frame.append("\r").append(Fit(status)).append("\x1b[K\n");
    drawnLines_ = kBarRows + 2;
    // One write for the whole frame: a line-buffered stream would send it
    // line by line.
    std::fflush(stdout);
    for (size_t sent = 0; sent < frame.size();) {
        const ssize_t n = write(STDOUT_FILENO, frame.data() + sent, frame.size() - sent);
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
}

void SpectrumView::Finish() {
    if (drawnLines_ == 0) std::printf("\n");
    std::fflush(stdout);
}

}  // namespace vexaplay

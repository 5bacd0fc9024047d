// vexaplay's live display: the position line with the engine's 20-band
// spectrum under it as bars, and a line naming the view and the equalizer
// curve. Every redraw rewrites the same lines in place with one write, so
// nothing flickers, also over a slow remote terminal.
//
// Needs a terminal on standard output of at least 64 x 16 (80 x 24 is
// plenty); otherwise, or when the output is a pipe or a file, it falls back
// to the one-line display, which names the curve at its end.
#pragma once

#include <string>

namespace vexaplay {

class SpectrumView {
public:
    SpectrumView();
    // Redraws. position: the position line; equalizer: the curve's name.
    void Draw(const std::string& position, const std::string& equalizer);
    // Both channels together, or the left and right channels side by side.
    void ToggleChannels() { separate_ = !separate_; }
    // Leaves the cursor on a fresh line under the display.
    void Finish();

private:
    std::string Bars() const;
    bool tty_;
    bool unicode_;
    bool separate_ = false;
    int drawnLines_ = 0;  // lines of the last multi-line drawing, 0 if none
};

}  // namespace vexaplay

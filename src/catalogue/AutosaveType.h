#pragma once

// Which editor wrote an autosave. The codes are stored and compared as plain integers (the
// outline, the open button and the JSON output all carry them), so they never change.
namespace AutosaveType {
inline constexpr int FinalCut = 0; // Final Cut Pro 7 and Final Cut Express
inline constexpr int Motion = 1;
inline constexpr int Premiere = 2;
inline constexpr int Avid = 3;
inline constexpr int FinalCutX = 4;

// Any code outside 1 to 4 counts as Final Cut Pro wherever the code decides something.
constexpr int normalized(int code) {
    return code >= Motion && code <= FinalCutX ? code : FinalCut;
}
} // namespace AutosaveType

#pragma once

#include <ctime>

#include "base/str.h"

// Appends a time by a pattern, in which "%Y" is the year in four digits, "%M", "%D", "%h", "%m" and "%s" are month,
// day, hour, minute and second in two digits, "%W" is the day of the week in one (0 is Sunday) and "%%" is a percent
// sign. Any other character behind "%" ends the text there.
//   pattern  not null
void FormatTime(t_str& text, const std::tm& time, const wchar_t* pattern);

// The same for a point of time, as local time. One that has no local time empties the text.
void FormatTime(t_str& text, std::time_t time, const wchar_t* pattern);

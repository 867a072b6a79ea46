// Page text that the designer's pages share.
#pragma once

#include <string_view>

#include "frame/values/value.h"

namespace surva::design {

inline constexpr std::string_view kForm = "<Form action=CreateForm.asp method=post>";
inline constexpr std::string_view kFormTable =
    "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"2\" cellpadding=\"6\""
    " style=\"font-family: Tahoma; font-size: 8pt\">";

// A row with a title; a row with a caption and, in a cell of its own, a control, which ends the row.
inline constexpr std::string_view kTitle =
    "<tr><TD colspan=2 bgColor=\"#c0c0c0\"><font face=tahoma size=3 color=black><B>";
inline constexpr std::string_view kTitleEnd = "</B></font></TD></tr>";
inline constexpr std::string_view kCaption = "<tr><TD bgColor=\"black\"><font face=tahoma size=2 color=white>";
inline constexpr std::string_view kControl = "</td><TD bgcolor=#c0c0c0>";
inline constexpr std::string_view kButtonRow = "<tr><TD align=right bgColor=\"black\">";

// Whether a flag is off. One that was never set is not.
inline bool IsOff(const Field& flag) {
  return !flag.IsNull() && flag.Is(0);
}

}  // namespace surva::design

// QR codes, drawn as SVG.
#pragma once

#include <string>

#include "desk/markup.h"

namespace surva::desk {

// Draws the code of a text, with its quiet zone; `says` is its name for who cannot see it. A Fault for a text that no
// code can hold (2,331 bytes at the most).
void WriteQrCode(Markup& page, const std::string& text, const std::string& says);

}  // namespace surva::desk

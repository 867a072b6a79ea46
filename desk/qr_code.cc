#include "desk/qr_code.h"

#include <qrencode.h>

#include <memory>

#include "frame/values/fault.h"

namespace surva::desk {

void WriteQrCode(Markup& page, const std::string& text, const std::string& says) {
  constexpr int kQuiet = 4;  // modules around the code, as ISO/IEC 18004 wants
  const std::unique_ptr<QRcode, void (*)(QRcode*)> code(QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M),
                                                        QRcode_free);
  if (code == nullptr) throw Fault::OutOfRange();
  const int width = code->width;
  std::string path;
  for (int y = 0; y < width; ++y) {
    for (int x = 0; x < width;) {
      int run = 0;
      while (x + run < width && (code->data[y * width + x + run] & 1) != 0) ++run;
      if (run > 0) {
        const std::string length = std::to_string(run);
        path +=
            "M" + std::to_string(x + kQuiet) + " " + std::to_string(y + kQuiet) + "h" + length + "v1h-" + length + "z";
      }
      x += run + 1;
    }
  }
  const int side = width + 2 * kQuiet;
  page.Write({"<svg class=\"qr\" role=\"img\" aria-label=\"", says, "\" viewBox=\"0 0 ", side, " ", side,
              "\" shape-rendering=\"crispEdges\"><rect width=\"", side, "\" height=\"", side,
              "\" fill=\"#fff\"/><path d=\"", path, "\" fill=\"#000\"/></svg>"});
}

}  // namespace surva::desk

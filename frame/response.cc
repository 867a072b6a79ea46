#include "frame/response.h"

namespace surva {

void Response::Clear() {
  page_.clear();
  scripts_.clear();
}

void Response::Redirect(std::string_view url) {
  if (!redirect_) redirect_ = url;
}

}  // namespace surva

// The one place where pages come from that tell an HTTP status: answers that no page object gives.
#pragma once

#include <chrono>
#include <string_view>

#include "wire/http_message.h"

namespace surva::wire {

// `retry_after`, if not 0, tells when to ask again.
HttpResponse StatusPage(unsigned status, std::string_view explanation = {}, std::chrono::seconds retry_after = {});

}  // namespace surva::wire

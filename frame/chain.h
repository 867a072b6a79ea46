// Chain: how a page decides which of its methods answers. An ordered list of tests on the request's parameters; the
// first that holds calls its method and ends the request, unless it says to go on.
//
//   void FillForm::WebClass_Start() {
//     static constexpr Link<FillForm> kChain[] = {
//         // personal_details.cc
//         {Filled("PIN"), [](FillForm& page) { page.PinLogon(page.request()("PIN")); }},
//         {Otherwise(), [](FillForm& page) { page.ShowPinPage(WrongPin::kNo); }},
//     };
//     Walk<FillForm>(kChain, *this);
//   }
//
// Where a page's methods stand in several files, a remark above the links names theirs. The last link is Otherwise.
#pragma once

#include <cassert>
#include <cstdint>
#include <span>
#include <string_view>

#include "frame/request.h"
#include "frame/values/text.h"

namespace surva {

struct Test {
  enum class Kind : std::uint8_t { kFilled, kEqual, kEqualAnyCase, kAlways } kind;
  std::string_view name;
  std::string_view value;

  bool Holds(const Request& request) const {
    switch (kind) {
      case Kind::kFilled:
        return request.Filled(name);
      case Kind::kEqual:
        return request(name) == value;
      case Kind::kEqualAnyCase:
        return CompareTexts(request(name), value) == 0;
      case Kind::kAlways:
        return true;
    }
    return false;
  }
};

constexpr Test Filled(std::string_view name) {
  return {Test::Kind::kFilled, name, {}};
}
constexpr Test Equal(std::string_view name, std::string_view value) {
  return {Test::Kind::kEqual, name, value};
}
constexpr Test EqualAnyCase(std::string_view name, std::string_view value) {
  return {Test::Kind::kEqualAnyCase, name, value};
}
constexpr Test Otherwise() {
  return {Test::Kind::kAlways, {}, {}};
}

template <class Page>
struct Link {
  enum class Then : std::uint8_t { kEnd, kGoOn };

  Test test;
  void (*action)(Page&);
  Then then = Then::kEnd;
};

template <class Page>
void Walk(std::span<const Link<Page>> chain, Page& page) {
  assert(!chain.empty() && chain.back().test.kind == Test::Kind::kAlways && "a request that no link answers");
  for (const Link<Page>& link : chain) {
    if (!link.test.Holds(page.request())) continue;
    link.action(page);
    if (link.then == Link<Page>::Then::kEnd) return;
  }
}

}  // namespace surva

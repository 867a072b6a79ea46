// Request: what the visitor's browser sent, already decoded to UTF-8.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace surva {

// Names with their values in the order in which they came; a name may come several times.
using NameValues = std::vector<std::pair<std::string, std::string>>;

struct ServerVariables {
  std::string remote_addr;  // the visitor's address, without a port
  std::string script_name;  // the page's path as it was requested, letter case included; URL is the same
  std::string server_name;  // without a port
  bool https = false;
};

class Request {
 public:
  Request() = default;
  Request(NameValues query, NameValues form, ServerVariables variables)
      : query_(std::move(query)), form_(std::move(form)), variables_(std::move(variables)) {}

  // The value of a name, its letter case aside: the query string is asked before the posted form, several values are
  // joined with a comma and a blank, an absent name reads as empty. The text lives as long as the request.
  std::string_view operator()(std::string_view name) const;
  bool Filled(std::string_view name) const { return !(*this)(name).empty(); }
  // Whether the name came at all, be it empty.
  bool Has(std::string_view name) const;

  // One collection asked alone.
  std::string_view QueryString(std::string_view name) const;
  std::vector<std::string_view> Form(std::string_view name) const;

  // REMOTE_ADDR, SCRIPT_NAME, SERVER_NAME, URL, HTTPS ("on" or "off").
  std::string_view ServerVariable(std::string_view name) const;

 private:
  // The query string or the posted form. A name is found without a walk over all of them: a page may ask for as many
  // names as a hostile form has.
  class Collection {
   public:
    Collection() = default;
    explicit Collection(NameValues values);
    // The values of a name, in the order in which they came.
    std::vector<std::string_view> Find(std::string_view name) const;

   private:
    NameValues values_;
    std::vector<std::pair<std::string, std::size_t>> places_;  // names in small letters, sorted; places in values_
  };
  bool Join(const Collection& values, std::string_view name, std::string_view& text) const;

  Collection query_;
  Collection form_;
  ServerVariables variables_;
  mutable std::deque<std::string> joined_;
};

}  // namespace surva

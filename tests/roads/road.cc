#include "tests/roads/road.h"

#include <algorithm>
#include <ctime>
#include <sstream>
#include <stdexcept>

#include "frame/values/text.h"
#include "tests/roads/rows.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

struct Browser {
  std::string address = "192.0.2.7";
  bool https = false;
  Cookies cookies;
};

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : ToWindows1252(text)) {
    char code[4];
    std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned char>(c));
    escaped += std::isalnum(static_cast<unsigned char>(c)) != 0 ? std::string(1, c) : c == ' ' ? "+" : code;
  }
  return escaped;
}

bool IsPast(const std::string& date) {
  std::tm at{};
  return strptime(date.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &at) != nullptr && timegm(&at) < std::time(nullptr);
}

// What stands between two texts of a page; empty if they do not.
std::string Between(const std::string& page, std::string_view before, std::string_view after) {
  const std::size_t begin = page.find(before);
  if (begin == std::string::npos) return {};
  return page.substr(begin + before.size(), page.find(after, begin + before.size()) - begin - before.size());
}

// What a reader of the road wants to know of a page that stands there as a digest.
std::string Remark(const std::string& page) {
  if (const std::string number = Between(page, "Error number: ", "<"); !number.empty()) return "; error " + number;
  if (const std::string alert = Between(page, ">alert('", "');<"); !alert.empty()) return "; alert \"" + alert + "\"";
  const std::string told = Between(page, "<BLOCKQUOTE>", "</BLOCKQUOTE>");
  return told.empty() || told.find('<') != std::string::npos ? "" : "; \"" + told + "\"";
}

// A page as its file holds it: UTF-8, a line for each row of the page; a carriage return is shown as ␍, a line feed as
// ␤.
std::string PageFile(const std::string& bytes, bool utf8) {
  // A page is one long line; a file of such could not be compared by eye.
  constexpr std::string_view kBegin[] = {"<tr",    "<table", "<form",   "<script", "<body", "<link",   "<meta",
                                         "<input", "<a ",    "<option", "<center", "<div",  "</table", "<frame"};
  const std::string text = utf8 ? bytes : FromWindows1252(bytes);
  std::string file;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto begins = [&](std::string_view tag) {
      return EqualNames(std::string_view(text).substr(at, tag.size()), tag);
    };
    if (text[at] == '\r' || text[at] == '\n') {
      file += text[at] == '\r' ? "\u240D\n" : "\u2424\n";
    } else {
      if (text[at] == '<' && !file.empty() && std::any_of(std::begin(kBegin), std::end(kBegin), begins)) file += '\n';
      file += text[at];
    }
  }
  return file + "\n";
}

class Player {
 public:
  Player(Way& way, StillClock& clock, data::Database& database) : way_(way), clock_(clock), database_(database) {}

  Played Play(const std::string& road) {
    std::istringstream lines(road);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("  -> ")) {
        page_name_ = Between(line + ";", " page ", ";");
      } else if (!line.starts_with("  + ") && !line.starts_with("  - ") && !line.starts_with("  ~ ")) {
        Take(line);
      }
    }
    Ask();
    played_.text += held_back_;
    return std::move(played_);
  }

 private:
  // Lines that come behind a request wait until it has been answered.
  void Take(const std::string& line) {
    const std::vector<Word> words = WordsOf(line);
    if (words.empty() || line.starts_with('#')) {
      (request_.empty() ? played_.text : held_back_) += line + "\n";
      return;
    }
    if (line.starts_with("  & ")) {
      request_.insert(request_.end(), words.begin() + 1, words.end());
      played_.text += line + "\n";
      return;
    }
    Ask();
    played_.text += std::exchange(held_back_, {}) + line + "\n";
    if (words[0].text == "clock" && words.size() == 3) {
      clock_.now = ReadIso(words[1].text + " " + words[2].text).value();
    } else if (words[0].text == "headers") {
      headers_.clear();
      for (std::size_t i = 1; i < words.size(); ++i) headers_.push_back(words[i].text);
    } else if (words[0].text == "visitor" && words.size() >= 4 && words[2].text == "from") {
      browsers_[words[1].text] = {words[3].text, words.back().text == "https", {}};
    } else {
      request_ = words;
    }
  }

  void Ask() {
    if (request_.empty()) return;
    std::string visitor;
    if (request_[0].text.ends_with(':')) {
      visitor = request_[0].text.substr(0, request_[0].text.size() - 1);
      if (!browsers_.contains(visitor)) throw std::runtime_error("nobody is called " + visitor);
      request_.erase(request_.begin());
    }
    Browser& browser = browsers_[visitor];
    const bool posts = request_[0].text == "POST";
    if ((!posts && request_[0].text != "GET") || request_.size() < 2) {
      throw std::runtime_error("a line of no known form: " + request_[0].text);
    }
    wire::HttpRequest request;
    request.method = posts ? wire::HttpRequest::Method::kPost : wire::HttpRequest::Method::kGet;
    const std::string& target = request_[1].text;
    request.path = target.substr(0, target.find('?'));
    std::string fields = target.substr(std::min(target.size(), request.path.size() + 1));
    if (posts) request.query = std::exchange(fields, {});
    for (std::size_t i = 2; i < request_.size(); ++i) {
      const std::string& field = request_[i].text;
      const std::size_t equals = std::min(field.find('='), field.size());
      if (!fields.empty()) fields += '&';
      fields += Escaped(field.substr(0, equals));
      if (equals < field.size()) fields += '=' + Escaped(field.substr(equals + 1));
    }
    (posts ? request.body : request.query) = fields;
    if (posts) request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
    browser.cookies.AddTo(request);
    request.remote_addr = browser.address;
    request.server_name = request.host = "www.example";
    request.https = browser.https;
    request_.clear();
    const Snapshot before = ReadRows(database_);
    const wire::HttpResponse answer = way_.Ask(request);
    Tell(answer, browser);
    played_.text += Difference(before, ReadRows(database_));
    page_name_.clear();
  }

  void Tell(const wire::HttpResponse& answer, Browser& browser) {
    std::string page = answer.body.empty() ? std::string(answer.static_body) : answer.body;
    const bool is_own = answer.content_type.find("utf-8") != std::string::npos;
    // What stands around all pages of our own, their menu above all, is not told again with each.
    if (const std::string content = Between(page, "<main", "</main>"); is_own && !content.empty()) {
      page = "<main" + content + "</main>";
    }
    const std::string file = PageFile(page, is_own);
    played_.all.push_back(file);
    std::string line = "  -> " + std::to_string(answer.status);
    std::map<std::string, std::string> fields(answer.headers.begin(), answer.headers.end());
    if (fields.contains("Location")) line += " to " + fields["Location"];
    browser.cookies.TakeFrom(answer);
    if (IsPast(fields["Expires"])) fields["Expires"] = "past";
    if (!page_name_.empty()) {
      line += " page " + page_name_;
      const auto [known, is_new] = played_.pages.emplace(page_name_, file);
      if (!is_new && known->second != file) {
        throw std::runtime_error("two different pages are called " + page_name_);
      }
    } else if (!page.empty()) {
      line += " digest " + Digest(page) + Remark(page);
    }
    for (const std::string& name : headers_) line.append("; ").append(name).append(": ").append(fields[name]);
    played_.text += line + "\n";
  }

  Way& way_;
  StillClock& clock_;
  data::Database& database_;
  std::map<std::string, Browser> browsers_{{"", {}}};
  std::vector<std::string> headers_;
  std::vector<Word> request_;
  std::string page_name_;
  std::string held_back_;
  Played played_;
};

}  // namespace

Played Play(const std::string& road, Way& way, StillClock& clock, data::Database& database) {
  return Player(way, clock, database).Play(road);
}

}  // namespace surva::test

#include <algorithm>
#include <ctime>
#include <sstream>
#include <stdexcept>

#include "frame/values/text.h"
#include "tests/roads/roads.h"

namespace surva::test {
namespace {

struct Browser {
  std::string address = "192.0.2.7";
  bool https = false;
  wire::HeaderFields headers = {};  // that it sends with each request
  Cookies cookies = {};
};

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

// A line's requests: one for each of the choices that it has between braces, as in {A|B}, and none of those chosen if
// it has no braces. Between quotes braces are letters.
std::vector<std::pair<std::string, std::string>> RequestsOf(const std::string& line) {
  std::vector<std::size_t> marks;
  bool quoted = false;
  for (std::size_t at = 0; at < line.size() && (marks.empty() || line[marks.back()] != '}'); ++at) {
    if (line[at] == '\\' && quoted) {
      ++at;
    } else if (line[at] == '"') {
      quoted = !quoted;
    } else if (!quoted && (line[at] == '{' || (!marks.empty() && (line[at] == '|' || line[at] == '}')))) {
      marks.push_back(at);
    }
  }
  if (marks.empty()) return {{"", line}};
  std::vector<std::pair<std::string, std::string>> requests;
  for (std::size_t i = 1; i < marks.size(); ++i) {
    const std::string choice = line.substr(marks[i - 1] + 1, marks[i] - marks[i - 1] - 1);
    const std::string chosen = line.substr(0, marks.front()) + choice + line.substr(marks.back() + 1);
    for (const auto& [more, request] : RequestsOf(chosen)) {
      requests.emplace_back(choice + (more.empty() ? "" : " ") + more, request);
    }
  }
  return requests;
}

class Player {
 public:
  Player(const std::string& way, data::Database& database) : way_name_(way), database_(database) {}

  Played Play(const std::string& road) {
    std::istringstream stream(road);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    for (std::size_t at = 0; at < lines.size(); ++at) {
      const std::string& line = lines[at];
      if (line.starts_with("  ")) continue;
      played_.text += line + "\n";
      if (line.empty() || line.starts_with('#')) continue;
      std::map<std::string, std::string> names;  // of pages, by what was chosen
      for (std::size_t told = at + 1; told < lines.size() && lines[told].starts_with("  "); ++told) {
        const std::size_t arrow = lines[told].find("-> ");
        if (IsRow(lines[told]) || arrow == std::string::npos) continue;
        names[lines[told].substr(2, arrow - 2)] = Between(lines[told] + ";", " page ", ";");
      }
      for (const auto& [choice, request] : RequestsOf(line)) {
        if (Settle(WordsOf(request))) continue;
        const std::string told = choice + (choice.empty() ? "" : " ");
        played_.text += "  " + told + "-> ";
        Ask(WordsOf(request), names[told]);
      }
    }
    return std::move(played_);
  }

 private:
  static bool IsRow(const std::string& line) {
    return line.starts_with("  + ") || line.starts_with("  - ") || line.starts_with("  ~ ");
  }

  // Whether a line is no request, but settles something for those that follow.
  bool Settle(const std::vector<Word>& words) {
    if (words[0].text == "headers") {
      headers_.clear();
      for (std::size_t i = 1; i < words.size(); ++i) headers_.push_back(words[i].text);
    } else if (words[0].text == "visitor" && words.size() >= 4 && words[2].text == "from") {
      Browser& browser = browsers_[words[1].text];
      browser = {words[3].text, false, {}, browser.cookies};
      for (std::size_t i = 4; i < words.size(); ++i) {
        const std::size_t equals = words[i].text.find('=');
        if (words[i].text == "https") browser.https = true;
        if (equals == std::string::npos) continue;
        browser.headers.emplace_back(words[i].text.substr(0, equals), words[i].text.substr(equals + 1));
      }
    } else if (words[0].text == "given" && words.size() > 2) {
      AddRow(database_, words);
    } else if (words[0].text == "fails" && words.size() == 2) {
      watch_.fail_commit = words[1].text == "commit";
      watch_.lose_commit = words[1].text == "answer";
      watch_.fail_write = std::atoi(words[1].text.c_str());
    } else {
      return false;
    }
    return true;
  }

  void Ask(std::vector<Word> words, const std::string& page_name) {
    const auto at = words.size() > 2 ? ReadIso(words[0].text + " " + words[1].text) : std::nullopt;
    if (at) {
      clock_.now = *at;
      clock_.ticks = words[2].text == "ticking";
      words.erase(words.begin(), words.begin() + (clock_.ticks ? 3 : 2));
    }
    std::string visitor;
    if (words[0].text.ends_with(':')) {
      visitor = words[0].text.substr(0, words[0].text.size() - 1);
      if (!browsers_.contains(visitor)) throw std::runtime_error("nobody is called " + visitor);
      words.erase(words.begin());
    }
    Browser& browser = browsers_[visitor];
    const bool posts = words[0].text == "POST";
    if ((!posts && words[0].text != "GET") || words.size() < 2) {
      throw std::runtime_error("a line of no known form: " + words[0].text);
    }
    wire::HttpRequest request;
    request.method = posts ? wire::HttpRequest::Method::kPost : wire::HttpRequest::Method::kGet;
    const std::string& target = words[1].text;
    request.path = target.substr(0, target.find('?'));
    std::string fields = target.substr(std::min(target.size(), request.path.size() + 1));
    if (posts) request.query = std::exchange(fields, {});
    const auto escaped = [](std::string_view text) { return PercentEncoded(ToWindows1252(text)); };
    for (std::size_t i = 2; i < words.size(); ++i) {
      const std::string& field = words[i].text;
      const std::size_t equals = std::min(field.find('='), field.size());
      if (!fields.empty()) fields += '&';
      fields += escaped(field.substr(0, equals));
      if (equals < field.size()) fields += '=' + escaped(field.substr(equals + 1));
    }
    (posts ? request.body : request.query) = fields;
    request.headers = browser.headers;
    if (posts) request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
    browser.cookies.AddTo(request);
    request.remote_addr = browser.address;
    request.server_name = request.host = "www.example";
    request.https = browser.https;
    const Snapshot before = ReadRows(database_);
    if (!way_) way_ = MakeWay(way_name_, database_.dsn(), ExampleSite(watch_, clock_));
    Tell(way_(request), browser, page_name);
    played_.text += Difference(before, ReadRows(database_));
  }

  void Tell(const wire::HttpResponse& answer, Browser& browser, const std::string& page_name) {
    std::string page = answer.body.empty() ? std::string(answer.static_body) : answer.body;
    const bool is_own = answer.content_type.find("utf-8") != std::string::npos;
    // What stands around all pages of our own, their menu above all, is not told again with each.
    if (const std::string content = Between(page, "<main", "</main>"); is_own && !content.empty()) {
      page = "<main" + content + "</main>";
    }
    const std::string file = PageFile(page, is_own);
    played_.all.push_back(file);
    std::string line = std::to_string(answer.status);
    std::map<std::string, std::string> fields(answer.headers.begin(), answer.headers.end());
    if (fields.contains("Location")) line += " to " + fields["Location"];
    browser.cookies.TakeFrom(answer);
    if (IsPast(fields["Expires"])) fields["Expires"] = "past";
    if (!page_name.empty()) {
      line += " page " + page_name;
      const auto [known, is_new] = played_.pages.emplace(page_name, file);
      if (!is_new && known->second != file) {
        throw std::runtime_error("two different pages are called " + page_name);
      }
    } else if (!page.empty()) {
      line += " digest " + Digest(page) + Remark(page);
    }
    for (const std::string& name : headers_) line.append("; ").append(name).append(": ").append(fields[name]);
    played_.text += line + "\n";
  }

  const std::string way_name_;
  data::Database& database_;
  StillClock clock_;
  Watch watch_;
  Way way_;
  std::map<std::string, Browser> browsers_{{"", {}}};
  std::vector<std::string> headers_;
  Played played_;
};

}  // namespace

Played Play(const std::string& road, const std::string& way, data::Database& database) {
  return Player(way, database).Play(road);
}

}  // namespace surva::test

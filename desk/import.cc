// Companies, students and enrolments from a table that somebody brings. Looking tells line by line what each would do;
// carrying out does all of it or nothing, and looks again first.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <span>

#include "desk/outbox.h"
#include "desk/pages.h"
#include "desk/parts.h"
#include "desk/table_file.h"
#include "desk/table_reader.h"
#include "frame/values/text.h"
#include "guard/history.h"
#include "scheduling/pin.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;

namespace {

constexpr std::string_view kTitle = "Import";

// A column that a table may bring.
struct Target {
  std::string_view column;  // of the database; "Company" is the name of a student's company
  std::string_view caption;
  std::string_view names;  // what its heading may be, in small letters without anything else, between blanks
};

constexpr Target kCompanyTargets[] = {
    {"CompanyName", "Company name", " companyname company name firm organisation organization firma "},
    {"Street", "Street", " street address strasse "},
    {"PostCode", "Post code", " postcode zip zipcode postalcode plz "},
    {"City", "City", " city town ort "},
    {"Phone", "Phone", " phone telephone tel telefon "},
    {"FAX", "Fax", " fax telefax "},
    {"eMail", "E-mail", " email mail emailaddress "},
    {"TaxNumber", "Tax number", " taxnumber taxno vat vatnumber nip "},
    {"Description", "Description", " description notes note remarks "},
};
constexpr Target kStudentTargets[] = {
    {"FirstName", "First name", " firstname givenname forename vorname "},
    {"LastName", "Last name", " lastname surname familyname name nachname "},
    {"email", "E-mail", " email mail emailaddress "},
    {"Company", "Company", " company companyname firm organisation organization firma "},
    {"Phone", "Phone", " phone telephone tel telefon "},
    {"Fax", "Fax", " fax telefax "},
    {"PostCode", "Post code", " postcode zip zipcode postalcode plz "},
    {"City", "City", " city town ort "},
    {"Street", "Street", " street address strasse "},
    {"Description", "Description", " description notes note remarks "},
};

struct Kind {
  std::string_view word, caption;
  const data::Table& table;
  std::span<const Target> targets;
  std::span<const std::string_view> needed;

  std::size_t Find(std::string_view column) const {
    return static_cast<std::size_t>(std::ranges::find(targets, column, &Target::column) - targets.begin());
  }
};

constexpr std::string_view kCompanyNeeds[] = {"CompanyName"};
constexpr std::string_view kStudentNeeds[] = {"LastName", "Company"};
constexpr std::string_view kEnrolmentNeeds[] = {"LastName"};

const Kind kKinds[] = {
    {"companies", "Companies", data::tables::kCompany, kCompanyTargets, kCompanyNeeds},
    {"students", "Students", data::tables::kStudent, kStudentTargets, kStudentNeeds},
    {"enrolments", "Enrolments on the event", data::tables::kStudent, kStudentTargets, kEnrolmentNeeds},
};

constexpr std::size_t kUnused = SIZE_MAX;

// For each column of the table its target's place, or kUnused.
using Matching = std::vector<std::size_t>;

std::string HeadingOf(std::string_view cell) {
  std::string name = " ";
  for (const char c : LowerName(cell)) {
    if (c >= 'a' && c <= 'z') name += c;
  }
  return name + " ";
}

// By the headings of the first line.
Matching Guess(const Kind& kind, const BroughtTable& table) {
  Matching matching(table.lines.front().cells.size(), kUnused);
  for (std::size_t column = 0; column < matching.size(); ++column) {
    const std::string heading = HeadingOf(table.lines.front().cells[column]);
    for (std::size_t target = 0; target < kind.targets.size(); ++target) {
      const bool taken = std::ranges::find(matching, target) != matching.end();
      if (!taken && heading.size() > 2 && kind.targets[target].names.find(heading) != std::string_view::npos) {
        matching[column] = target;
        break;
      }
    }
  }
  return matching;
}

Matching ReadMatching(const Request& request, const Kind& kind, std::size_t columns) {
  Matching matching(columns, kUnused);
  for (std::size_t column = 0; column < columns; ++column) {
    const std::string_view name = request("column" + std::to_string(column));
    if (const std::size_t target = kind.Find(name); target < kind.targets.size()) matching[column] = target;
  }
  return matching;
}

// What keeps the table as a whole from being stored, or nothing.
std::string TroubleWith(const Kind& kind, const Matching& matching) {
  for (std::size_t target = 0; target < kind.targets.size(); ++target) {
    const Target& one = kind.targets[target];
    const auto columns = std::ranges::count(matching, target);
    if (columns > 1) return std::string(one.caption) + " is in two columns. Choose one of them.";
    if (columns == 0 && std::ranges::find(kind.needed, one.column) != kind.needed.end()) {
      return "No column is the " + std::string(one.caption) + ". Choose it above.";
    }
  }
  return {};
}

enum class State { kNew, kChanged, kDouble, kWrong };

// A line of the table and what it would do.
struct Entry {
  std::size_t line = 0;
  State state = State::kNew;
  std::string why;
  std::vector<std::string> values;  // by target, as the database holds texts
  std::int64_t key = 0;             // of the record that stands already
  std::int64_t company = 0;
};

bool Less(std::string_view a, std::string_view b) {
  return CompareTexts(a, b) < 0;
}
struct LessTexts {
  bool operator()(const std::string& a, const std::string& b) const { return Less(a, b); }
};

// Compared as letters, whichever way the database holds them.
std::string KeyOf(std::initializer_list<std::string_view> parts) {
  std::string key;
  for (const std::string_view part : parts) key.append(WithLetters(part)).append("\x1f");
  return key;
}

// Why a value cannot be stored, or nothing.
std::string Complaint(const data::Table& table, const Target& target, const std::string& value) {
  const data::Column* const column =
      target.column == "Company" ? &data::tables::kCompany.Find("CompanyName") : &table.Find(target.column);
  if (column->width > 0 && CharacterCount(value) > static_cast<std::size_t>(column->width)) {
    return std::string(target.caption) + " is longer than " + std::to_string(column->width) + " characters";
  }
  const bool long_text = column->type == data::ColumnType::kLongText;
  for (const char c : value) {
    const bool line_break = c == '\n' || c == '\r' || c == '\t';
    if (static_cast<unsigned char>(c) < 0x20 && !(long_text && line_break)) {
      return std::string(target.caption) + " holds a line break or a control character";
    }
  }
  // Phones begin with a plus.
  if (value.starts_with('=') || value.starts_with('@')) return std::string(target.caption) + " begins like a formula";
  if (EqualNames(target.column, "email") && !value.empty() && !IsMailAddress(value)) {
    return "\"" + value + "\" is no e-mail address";
  }
  return {};
}

class Analysis {
 public:
  Analysis(data::Connection& db, const Kind& kind, std::int64_t event) : db_(db), kind_(kind), event_(event) {}

  std::vector<Entry> Run(const BroughtTable& table, const Matching& matching, bool skip_first) {
    std::vector<Entry> entries;
    for (std::size_t i = skip_first ? 1 : 0; i < table.lines.size(); ++i)
      entries.push_back(Read(table.lines[i], matching));
    ReadStanding(entries);
    for (Entry& entry : entries) {
      if (entry.state != State::kWrong) Judge(entry);
    }
    return entries;
  }

 private:
  const std::string& Value(const Entry& entry, std::string_view column) const {
    static const std::string kNone;
    const std::size_t place = kind_.Find(column);
    return place < entry.values.size() ? entry.values[place] : kNone;
  }
  bool OfCompanies() const { return &kind_.table == &data::tables::kCompany; }
  std::string NameOf(const Entry& entry) const {
    if (OfCompanies()) return KeyOf({Value(entry, "CompanyName")});
    return KeyOf({Value(entry, "FirstName"), Value(entry, "LastName"), Value(entry, "email")});
  }

  Entry Read(const BroughtTable::Line& line, const Matching& matching) const {
    Entry entry{.line = line.number, .values = std::vector<std::string>(kind_.targets.size())};
    if (line.cells.size() > matching.size()) {
      return Wrong(std::move(entry), "has more cells than the first line");
    }
    for (std::size_t column = 0; column < line.cells.size(); ++column) {
      if (matching[column] == kUnused) continue;
      std::string cell = line.cells[column];
      // So our own export marks what would be a formula.
      if (cell.starts_with('\'') && LooksLikeFormula(cell.substr(1))) cell.erase(0, 1);
      entry.values[matching[column]] = WithReferences(cell);
    }
    for (std::size_t target = 0; target < kind_.targets.size(); ++target) {
      std::string why = Complaint(kind_.table, kind_.targets[target], entry.values[target]);
      if (!why.empty()) return Wrong(std::move(entry), std::move(why));
    }
    for (const std::string_view column : kind_.needed) {
      if (Value(entry, column).empty()) {
        return Wrong(std::move(entry), std::string(kind_.targets[kind_.Find(column)].caption) + " is missing");
      }
    }
    return entry;
  }
  static Entry Wrong(Entry entry, std::string why) {
    entry.state = State::kWrong;
    entry.why = std::move(why);
    return entry;
  }

  // The records that bear a name of the table's, a few hundred names at a time.
  void ReadStanding(const std::vector<Entry>& entries) {
    std::set<std::string, LessTexts> names, companies;
    for (const Entry& entry : entries) {
      for (std::set<std::string, LessTexts>* all : {&names, &companies}) {
        const bool of_companies = all == &companies || OfCompanies();
        const std::string& name = Value(entry, OfCompanies() ? "CompanyName" : of_companies ? "Company" : "LastName");
        // Either way in which the database may hold it.
        if (!name.empty()) all->insert({name, WithLetters(name)});
      }
    }
    ForEachStanding("select CompanyID, CompanyName from Company where CompanyName in (", companies,
                    [&](const Row& row) { companies_[KeyOf({row[1].Text()})].push_back(row[0].Integer()); });
    if (OfCompanies()) {
      ForEachStanding("select * from Company where CompanyName in (", names,
                      [&](const Row& row) { Keep(row, KeyOf({row["CompanyName"].Text()})); });
      return;
    }
    ForEachStanding("select * from Student where LastName in (", names, [&](const Row& row) {
      Keep(row, KeyOf({row["FirstName"].Text(), row["LastName"].Text(), row["email"].Text()}));
    });
    if (event_ == 0) return;
    for (const Row& row : db_.Query({"select StudentID from Participant where ScheduleID=", Number(event_)})) {
      enrolled_.insert(row[0].Integer());
    }
  }
  template <class Each>
  void ForEachStanding(data::Piece select, const std::set<std::string, LessTexts>& names, Each each) {
    constexpr std::size_t kAtOnce = 200;
    for (auto name = names.begin(); name != names.end();) {
      std::vector<data::Piece> statement = {select};
      for (std::size_t i = 0; i < kAtOnce && name != names.end(); ++i, ++name) {
        if (i > 0) statement.push_back(",");
        statement.push_back(Bound(Field(std::string_view(*name))));
      }
      statement.push_back(") order by 1");
      for (const Row& row : db_.Query(statement)) each(row);
    }
  }
  struct Standing {
    std::int64_t key = 0;
    std::int64_t company = 0;
    std::vector<std::string> values;  // by target
  };
  void Keep(const Row& row, const std::string& name) {
    Standing standing{.key = row[0].Integer()};
    if (!OfCompanies()) standing.company = row["CompanyID"].Integer();
    for (const Target& target : kind_.targets) {
      standing.values.push_back(target.column == "Company" ? "" : row[data::ColumnName(target.column)].Text());
    }
    // Of several the first one is meant.
    standing_.emplace(name, std::move(standing));
  }

  void Judge(Entry& entry) {
    const std::string name = NameOf(entry);
    if (const auto first = seen_.find(name); first != seen_.end()) {
      entry.state = State::kDouble;
      entry.why = "the same as line " + std::to_string(first->second);
      return;
    }
    seen_[name] = entry.line;
    if (const std::string& company = Value(entry, "Company"); !OfCompanies() && !company.empty()) {
      const auto found = companies_.find(KeyOf({company}));
      if (found == companies_.end() || found->second.size() > 1) {
        entry = Wrong(std::move(entry),
                      found == companies_.end() ? "no company has this name" : "several companies have this name");
        return;
      }
      entry.company = found->second.front();
    }
    const auto found = standing_.find(name);
    if (found != standing_.end()) entry.key = found->second.key;
    if (event_ != 0) return JudgeEnrolment(entry);
    if (found == standing_.end()) return;
    entry.why = Differences(entry, found->second);
    entry.state = entry.why.empty() ? State::kDouble : State::kChanged;
    if (entry.why.empty()) entry.why = "stands as it is";
  }

  void JudgeEnrolment(Entry& entry) {
    if (entry.key == 0 && entry.company == 0) {
      entry = Wrong(std::move(entry), "nobody has this name and mail, and a new student needs a company");
    } else if (entry.key == 0) {
      entry.why = "a new student";
    } else if (enrolled_.contains(entry.key)) {
      entry.state = State::kDouble;
      entry.why = "is enrolled already";
    }
  }

  // What is empty in the table stays as it is.
  std::string Differences(const Entry& entry, const Standing& standing) const {
    std::string text;
    for (std::size_t i = 0; i < entry.values.size(); ++i) {
      const Target& target = kind_.targets[i];
      if (entry.values[i].empty()) continue;
      const bool same = target.column == "Company" ? entry.company == standing.company
                                                   : WithLetters(entry.values[i]) == WithLetters(standing.values[i]);
      if (!same) text.append(text.empty() ? "" : ", ").append(target.caption);
    }
    return text;
  }

  data::Connection& db_;
  const Kind& kind_;
  const std::int64_t event_;
  std::map<std::string, Standing, LessTexts> standing_;
  std::map<std::string, std::vector<std::int64_t>, LessTexts> companies_;
  std::set<std::int64_t> enrolled_;
  std::map<std::string, std::size_t, LessTexts> seen_;
};

// The clock some seconds later.
class LaterClock final : public Clock {
 public:
  LaterClock(const Clock& clock, int seconds) : clock_(clock), seconds_(seconds) {}
  DateTime Now() const override {
    constexpr int kDay = 24 * 60 * 60;
    const DateTime now = clock_.Now();
    const int second = now.hour * 3600 + now.minute * 60 + now.second + seconds_;
    DateTime later = AddDays(now, second / kDay);
    later.hour = second % kDay / 3600;
    later.minute = second % 3600 / 60;
    later.second = second % 60;
    return later;
  }

 private:
  const Clock& clock_;
  const int seconds_;
};

// The PIN that the enrolment page makes, whose form names no event. That page takes its time; here one that would lead
// to another participant is made as some seconds later.
std::string FreePin(data::Connection& db, const Clock& clock, std::int64_t student) {
  for (int seconds = 0; seconds < 24 * 60 * 60; ++seconds) {
    std::string pin = MakePin(LaterClock(clock, seconds), {}, std::to_string(student));
    if (db.Query({"select ParticipantID from Participant where PIN=", Bound(Field(pin)), " limit 1"}).empty()) {
      return pin;
    }
  }
  throw Fault::OutOfRange();
}

void Store(Context& context, const Kind& kind, std::int64_t event, const Entry& entry) {
  data::Connection& db = context.connection;
  std::int64_t key = entry.key;
  if (event == 0 || key == 0) {
    data::RowWriter row = key == 0 ? db.AddNew(kind.table) : db.Edit(kind.table, Number(key));
    for (std::size_t i = 0; i < entry.values.size(); ++i) {
      const Target& target = kind.targets[i];
      if (target.column == "Company" || (key != 0 && entry.values[i].empty())) continue;
      row.Set(target.column, std::string_view(entry.values[i]));
    }
    if (entry.company != 0) row.Set("CompanyID", entry.company);
    key = row.Update();
  }
  if (event == 0) return;
  db.AddNew(data::tables::kParticipant)
      .Set("ScheduleID", event)
      .Set("StudentID", key)
      .Set("pin", std::string_view(FreePin(db, context.clock, key)))
      .Update();
}

struct Counts {
  std::array<std::size_t, static_cast<std::size_t>(State::kWrong) + 1> of{};

  explicit Counts(const std::vector<Entry>& entries) {
    for (const Entry& entry : entries) ++of[static_cast<std::size_t>(entry.state)];
  }
  std::size_t operator[](State state) const { return of[static_cast<std::size_t>(state)]; }
  std::string Text() const {
    return std::to_string((*this)[State::kNew]) + " new, " + std::to_string((*this)[State::kChanged]) + " changed, " +
           std::to_string((*this)[State::kDouble]) + " double, " + std::to_string((*this)[State::kWrong]) + " wrong";
  }
};

// What a browser posts with the findings: it ends lines with two bytes.
std::size_t BytesToComeBack(const std::string& text) {
  constexpr std::size_t kFields = 8 * 1024;
  return text.size() + static_cast<std::size_t>(std::ranges::count(text, '\n')) + kFields;
}

void WriteBringForm(Markup& page, const Context& context, const std::optional<Event>& event) {
  if (event) {
    WriteEventHead(page, *event);
    WriteEventLinks(page, context, event->key);
  }
  page.Write({"<form method=\"post\" enctype=\"multipart/form-data\">\n"});
  if (event) {
    page.Write({"<input type=\"hidden\" name=\"event\" value=\"", event->key,
                "\"><input type=\"hidden\" name=\"kind\" value=\"enrolments\">\n"});
  } else {
    page.Write({"<label for=\"kind\">What the table holds</label><select id=\"kind\" name=\"kind\">"
                "<option value=\"companies\">Companies</option><option value=\"students\">Students</option></select>\n"
                "<p class=\"soft\">Enrolments are brought from the event's own pages.</p>\n"});
  }
  page.Write(
      {"<label for=\"file\">A CSV file</label><input type=\"file\" id=\"file\" name=\"file\" "
       "accept=\".csv,.txt,.tsv,text/csv,text/plain\">\n"
       "<label for=\"text\">or cells copied out of a spreadsheet</label>"
       "<textarea id=\"text\" name=\"text\" rows=\"8\" cols=\"80\"></textarea>\n"
       "<p><button>Look at it first</button></p>\n"
       "<p class=\"soft\">The first line names the columns. Nothing is stored before you have seen what each line "
       "would do. Up to 20,000 lines and ",
       context.settings.longest_body / 1024, " KiB.</p>\n</form>\n"});
}

void WriteEntries(Markup& page, const Kind& kind, const std::vector<Entry>& entries) {
  page.Write(
      {"<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr><th scope=\"col\" class=\"number\">Line</th>"
       "<th scope=\"col\">What</th><th scope=\"col\">Who</th><th scope=\"col\">Why</th></tr></thead>\n<tbody>\n"});
  for (const Entry& entry : entries) {
    page.Write({"<tr><td class=\"number\">", entry.line, "</td>"});
    switch (entry.state) {
      case State::kNew:
        page.Write({"<td>new</td>"});
        break;
      case State::kChanged:
        page.Write({"<td>changed</td>"});
        break;
      case State::kDouble:
        page.Write({"<td class=\"soft\">double</td>"});
        break;
      case State::kWrong:
        page.Write({"<td class=\"wrong\">wrong</td>"});
    }
    const bool person = &kind.table == &data::tables::kStudent;
    page.Write({"<td>", entry.values[0], " ", person ? entry.values[1] : std::string(), "</td><td>", entry.why,
                "</td></tr>\n"});
  }
  page.Write({"</tbody></table></div>\n"});
}

// What was found, with the table itself, so that it can be carried out.
void WriteFindings(Markup& page, const Kind& kind, const std::optional<Event>& event, const std::string& text,
                   const BroughtTable& table, const Matching& matching, bool skip_first,
                   const std::vector<Entry>& entries, const std::string& trouble) {
  const Counts counts(entries);
  if (event) WriteEventHead(page, *event);
  page.Write({"<form method=\"post\" enctype=\"multipart/form-data\">\n<input type=\"hidden\" name=\"kind\" value=\"",
              kind.word, "\"><input type=\"hidden\" name=\"matched\" value=\"1\">"});
  if (event) page.Write({"<input type=\"hidden\" name=\"event\" value=\"", event->key, "\">"});
  page.Write({"<textarea name=\"text\" hidden aria-hidden=\"true\">\n", text,
              "</textarea>\n<h2>Columns</h2>\n"
              "<div class=\"grid-form\">\n"});
  for (std::size_t column = 0; column < matching.size(); ++column) {
    page.Write({"<div><label for=\"column", column, "\">", table.lines.front().cells[column],
                "</label><select id=\"column", column, "\" name=\"column", column,
                "\"><option value=\"\">not used</option>\n"});
    for (std::size_t target = 0; target < kind.targets.size(); ++target) {
      page.Write({"<option value=\"", kind.targets[target].column, "\""});
      if (matching[column] == target) page.Write({" selected"});
      page.Write({">", kind.targets[target].caption, "</option>\n"});
    }
    page.Write({"</select></div>\n"});
  }
  page.Write({"</div>\n<p><input type=\"checkbox\" id=\"headings\" name=\"headings\" value=\"1\""});
  if (skip_first) page.Write({" checked"});
  page.Write({"> <label class=\"inline\" for=\"headings\">The first line names the columns</label></p>\n"
              "<p class=\"note\" role=\"status\">",
              counts.Text(), "</p>\n<p><button name=\"do\" value=\"look\" class=\"quiet\">Look again</button> "});
  if (!trouble.empty()) {
    page.Write({"</p>\n<p class=\"note bad\">", trouble, "</p>\n"});
  } else if (counts[State::kWrong] > 0) {
    page.Write({"</p>\n<p class=\"note bad\">Nothing can be stored while a line is wrong. Mend the lines that "
                "are marked and bring the table again.</p>\n"});
  } else if (counts[State::kNew] + counts[State::kChanged] > 0) {
    page.Write({"<button name=\"do\" value=\"store\">Store all of it</button></p>\n"});
  } else {
    page.Write({"</p>\n<p class=\"note\">There is nothing to store.</p>\n"});
  }
  page.Write({"</form>\n<h2>Line by line</h2>\n"});
  WriteEntries(page, kind, entries);
}

}  // namespace

namespace {

// What was brought: typed or in a file.
struct Brought {
  std::string text;
  bool guessed = false;  // its letters
  BroughtTable table;
  std::string problem;
};

Brought ReadBrought(const Context& context) {
  Brought brought{.text = WithLetters(context.request("text"))};
  for (const Upload& file : context.files) {
    if (!file.bytes.empty()) brought.text = TextOfFile(file.bytes, brought.problem, brought.guessed);
  }
  if (!brought.problem.empty()) return brought;
  brought.table = ReadTable(brought.text);
  brought.problem = brought.table.problem;
  return brought;
}

wire::HttpResponse TellStored(Context& context, const std::optional<Event>& event, const Counts& counts) {
  Markup page;
  if (event) WriteEventHead(page, *FindEvent(context.connection, event->key));
  page.Write({"<p class=\"note\" role=\"status\">All is stored: ", counts.Text(), ".</p>\n"});
  if (event) WriteEventLinks(page, context, event->key);
  page.Write({"<p><a href=\"/admin/import"});
  if (event) page.Write({"?event=", event->key});
  page.Write({"\">Bring another table</a></p>\n"});
  return Html(context, kTitle, page);
}

}  // namespace

wire::HttpResponse ShowImport(Context& context) {
  data::Connection& db = context.connection;
  std::optional<Event> event;
  if (context.request.Filled("event")) {
    const auto key = ReadKey(context.request("event"));
    if (key) event = FindEvent(db, *key);
    if (!event) return Sorry(context, kTitle, "There is no such event.");
  }
  Markup page;
  if (context.http.method != wire::HttpRequest::Method::kPost) {
    WriteBringForm(page, context, event);
    return Html(context, kTitle, page);
  }
  const std::string_view word = event ? "enrolments" : context.request("kind");
  const auto* const kind = std::ranges::find(kKinds, word, &Kind::word);
  if (kind == std::end(kKinds) || (word == "enrolments") != event.has_value()) {
    return Sorry(context, kTitle, "Say what the table holds.", 400);
  }
  const Brought brought = ReadBrought(context);
  if (!brought.problem.empty()) return Sorry(context, kTitle, brought.problem, 400);

  const bool store = context.request("do") == "store";
  // Two who store at once pass one after the other, and the second one sees what the first one has stored.
  if (store) db.Lock(guard::kPeople);
  const Matching guess = Guess(*kind, brought.table);
  const bool matched = context.request.Filled("matched");
  const Matching matching = matched ? ReadMatching(context.request, *kind, guess.size()) : guess;
  const bool skip_first = matched ? context.request.Filled("headings")
                                  : std::ranges::any_of(guess, [](std::size_t target) { return target != kUnused; });
  const std::int64_t event_key = event ? event->key : 0;
  const std::vector<Entry> entries = Analysis(db, *kind, event_key).Run(brought.table, matching, skip_first);
  const Counts counts(entries);
  std::string trouble = TroubleWith(*kind, matching);
  if (BytesToComeBack(brought.text) > context.settings.longest_body) {
    trouble = "The table is too long to be sent back with what is chosen here. Bring it in parts.";
  }
  if (!store || counts[State::kWrong] > 0 || !trouble.empty()) {
    if (brought.guessed) {
      page.Write({"<p class=\"soft\">The file is not in UTF-8 and was read as windows-1252. If names look wrong below, "
                  "save it as UTF-8 and bring it again.</p>\n"});
    }
    WriteFindings(page, *kind, event, brought.text, brought.table, matching, skip_first, entries, trouble);
    return Html(context, kTitle, page);
  }
  for (const Entry& entry : entries) {
    if (entry.state == State::kNew || entry.state == State::kChanged) Store(context, *kind, event_key, entry);
  }
  return TellStored(context, event, counts);
}

}  // namespace surva::desk

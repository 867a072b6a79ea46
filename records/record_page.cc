#include "records/record_page.h"

#include <cassert>
#include <span>
#include <string>

#include "frame/values/numbers.h"
#include "frame/values/text.h"
#include "records/record_search.h"

namespace surva {
namespace {

using data::Name;
using data::Number;
using data::Row;
using data::Rows;

constexpr std::size_t kPageSize = records::Search::kPageSize;
constexpr std::string_view kSpacer = "<tr><td>&nbsp;</td></tr>";
constexpr std::string_view kRule = "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr>";
constexpr std::string_view kStar = "<font color=red><b>*</b></font>";

double NumericValue(const Value& value) {
  const auto number = ReadNumeric(value.Text());
  if (!number) throw Fault::TypeMismatch();
  return *number;
}

// Controls stand two and two, but for those that stand alone.
template <class Control, class WriteRow>
void WritePairs(std::span<const Control> controls, const WriteRow& write_row) {
  while (!controls.empty()) {
    const std::size_t count = controls.front().alone ? 1 : 2;
    write_row(controls.first(count));
    controls = controls.subspan(count);
  }
}

// What a row's cells say of their width.
template <class Control>
std::string_view Across(std::span<const Control> row) {
  return row.front().alone ? " colspan=2" : "";
}

}  // namespace

void RecordPage::WebClass_Start() {
  static constexpr Link<RecordPage> kChain[] = {
      {Filled("Update"), [](RecordPage& page) { page.UpdateRecord(page.RequestedKey()); }},
      {Filled("Delete"), [](RecordPage& page) { page.DeleteRecord(page.RequestedKey()); }},
      {Filled("Save"), [](RecordPage& page) { page.SaveNewRecord(); }},
      {Equal("Search", "Search"), [](RecordPage& page) { page.ListSearchResults(); }},
      {Equal("Action", "P"), [](RecordPage& page) { page.ShowSearchForm(); }},
      {Filled("Modify"), [](RecordPage& page) { page.ShowModifyForm(page.request()("Modify")); }},
      {Filled("Add"), [](RecordPage& page) { page.ShowAddForm(); }},
      {Otherwise(), [](RecordPage& page) { page.ShowEmptyPage(); }},
  };
  Walk<RecordPage>(kChain, *this);
}

void RecordPage::ShowEmptyPage() {
  WriteHeaders();
  OpenConnection();
  WriteFooters();
}

void RecordPage::ShowSearchForm() {
  WriteHeaders();
  Write("<br>"
        "<Form Action=",
        record_.address,
        " Method=POST>"
        "<Input Type=Hidden Name=Action Value=P>"
        "<Table align=right border=0 cellspacing=0 cellpadding=2>");
  WritePairs<records::SearchControl>(record_.search_form, [&](std::span<const records::SearchControl> row) {
    const std::string_view across = Across(row);
    Write("<TR>");
    for (const auto& control : row) {
      Write("<TH", across, " align=left><Font color=navy>", control.caption, "</Font></TH>");
    }
    Write("</TR>", kRule, "<TR>");
    for (const auto& control : row) {
      Write("<TD", across, ">");
      if (control.list != nullptr) {
        Write("<select name=", control.name, " size=1><option value=-1 selected>All</option>");
        WriteOptions(*control.list, OpenConnection(), {});
        Write("</select>");
      } else {
        Write("<INPUT TYPE=text Name=", control.name, " maxlength=", control.maxlength, " size=", control.size, ">");
      }
      Write("</TD>");
    }
    Write("</TR>");
  });
  Write("<TR><TD colspan=2 align=right><INPUT TYPE=Submit Name=Search Value=Search></TD></TR></table></form>");
  WriteFooters();
}

void RecordPage::WriteOptions(const records::Choices& choices, data::Connection& db, const Field& chosen) {
  for (const Row& row : choices.read(db)) {
    const std::string text = row[1].Text();
    const bool selected = !chosen.IsNull() && row[0].Text() == chosen.Text();
    Write(std::string_view(selected ? "<option selected value=" : "<option value="), row[0], ">",
          choices.last_characters > 0 ? LastCharacters(text, choices.last_characters) : std::string_view(text),
          "</option>");
  }
}

// Every criterion is a prefix; an empty one matches everything.
void RecordPage::KeepCriteria() {
  for (const records::Criterion& criterion : record_.criteria) {
    const std::string_view value = request()(criterion.name);
    const bool all = value.empty() || (criterion.all == records::Criterion::All::kEmptyOrMinusOne && value == "-1");
    session().Set(criterion.name, all ? std::string("%") : std::string(value) + "%");
  }
}

void RecordPage::ListSearchResults() {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  const std::string_view move = request()("Mv");
  if (move.empty()) KeepCriteria();
  records::Search search(db, record_, session());
  Rows rows = search.ReadPage(1);
  if (rows.empty()) {
    Write("<BLOCKQUOTE>Database does not contain records that match your query</BLOCKQUOTE>");
    return WriteFooters();
  }
  const std::string_view posted = request()("PageNo");
  Value page_number = posted.empty() ? Value(1) : Value(posted);
  if (move == "Previous") {
    const double number = NumericValue(page_number);
    page_number = number > 1 ? number - 1 : 1;
  } else if (move == "Next") {
    // Whether there is a next page is asked of the first one, not of the one shown before.
    if (rows.size() > kPageSize) {
      page_number = NumericValue(page_number) + 1;
    } else {
      page_number = 1;
    }
  }
  const std::int64_t page = ToInt32(page_number.Text());
  if (page < 1) throw Fault::NoCurrentRow();
  if (page > 1) rows = search.ReadPage(page);
  if (rows.empty()) throw Fault::NoCurrentRow();
  const double number = NumericValue(page_number);
  WriteList(rows, page_number, number < static_cast<double>(page) || rows.size() > kPageSize, number > 1);
  WriteFooters();
}

void RecordPage::WriteList(const Rows& rows, const Value& page_number, bool has_next, bool has_previous) {
  const auto fields = static_cast<int>(record_.columns.size()) + 1;
  assert(rows.shape().size() == fields && "a list of other columns than its statement gives");
  Write("<Form Action=", record_.address,
        " Method=POST>"
        "<Input Type=Hidden Name=PageNo Value=",
        page_number,
        ">"
        "<Input Type=Hidden Name=Action Value=P>"
        "<Input Type=Hidden Name=Search Value=Search>"
        "<TABLE align=center BORDER=0 cellspacing=0 cellpadding=2>",
        kSpacer, "<TR>");
  for (const records::ListColumn& column : record_.columns) {
    Write("<TH align=left width=", column.width, " nobr><Font color=navy>");
    if (column.unbroken) Write("<nobr>");
    Write(column.caption);
    if (column.unbroken) Write("</nobr>");
    Write("</Font></TH>");
  }
  Write("</tr>"
        "<tr><td bgcolor=#6699FF size=1 colspan=",
        fields, "></td></tr>", kSpacer);
  for (std::size_t i = 0; i < rows.size() && i < kPageSize; ++i) {
    const Row row = rows[i];
    Write("<TR>");
    for (int field = 1; field < fields; ++field) {
      Write("<TD>");
      if (field == 1) {
        Write("<a href=", record_.address, "?Modify=", row[0], ">", row[1], "</a>");
      } else if (record_.columns[static_cast<std::size_t>(field) - 1].mail_link) {
        Write("<a href=mailto:", row[field], ">", row[field], "</a>");
      } else {
        Write(row[field]);
      }
      Write("&nbsp;</TD>");
    }
    Write("</TR>");
  }
  Write(kSpacer, "<tr><td bgcolor=#6699FF size=1 colspan=", fields, "></td></tr>", "<tr><td>");
  if (has_next) Write("<INPUT TYPE=Submit Name=Mv Value=Next>");
  Write("</td><td colspan=", fields - 1, " align=right>");
  if (has_previous) Write("<INPUT TYPE=Submit Name=Mv Value=Previous>");
  // The form ends before the table in which it stands.
  Write("</td></tr></Form></Table>");
}

void RecordPage::ShowAddForm() {
  WriteHeaders();
  Write("<Form Action=", record_.address, " method=post>");
  if (record_.key_on_add_form) WriteKey("");
  Write("<BR><Table BORDER=0 cellspacing=0 cellpadding=2 width=460>");
  WriteControls(nullptr);
  Write(record_.add_form_end);
  WriteFooters();
}

void RecordPage::ShowModifyForm(std::string_view id) {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  const Rows records =
      db.Query({"Select * from ", Name(record_.table), " where ", Name(record_.table.key()), "=", Number(id)});
  const Row record = records.First();
  Write("<P><Form Action=", record_.address, " method=post>");
  WriteKey(id);
  Write("<Table BORDER=0 cellspacing=0 cellpadding=2 width=460>");
  WriteControls(&record);
  Write("<TR><td colspan=2><INPUT TYPE=Submit Name=Update Value=Update>&nbsp;");
  if (db.Query({record_.guard, Number(id), " limit 1"}).empty()) {
    Write("<INPUT TYPE=Submit Name=Delete Value=Delete>");
  } else {
    Write("<BR><BR><font size=2 style=tahoma><B>", record_.guarded, "</b></font>");
  }
  Write("<BR><BR><Font color=red><b>*)</b></font><Font color=navy>&nbsp;<I>Field required</I></font>"
        "</td></TR></Table></form>");
  WriteFooters();
}

void RecordPage::WriteKey(std::string_view id) {
  Write("<Input Type=Hidden Name=", record_.table.key().name, " Value=", id, "><BR>");
}

void RecordPage::WriteControls(const Row* record) {
  WritePairs<records::FormControl>(record_.form, [&](std::span<const records::FormControl> row) {
    const std::string_view across = Across(row);
    Write("<TR>");
    for (const auto& control : row) {
      Write("<TD", across, "><font color=navy>", control.caption, control.required ? kStar : "", "</font></TD>");
    }
    Write("</TR>", kRule, "<tr>");
    for (const auto& control : row) {
      Write("<TD", across, ">");
      WriteControl(control, record);
      Write("</TD>");
    }
    Write("</TR>");
  });
}

void RecordPage::WriteControl(const records::FormControl& control, const Row* record) {
  const std::string_view name =
      record != nullptr && !control.name_on_modify.empty() ? control.name_on_modify : control.name;
  const Field value = record != nullptr ? (*record)[data::ColumnName(name)] : Field();
  if (control.list != nullptr) {
    Write("<select name=", name, " size=1>");
    WriteOptions(*control.list, OpenConnection(), value);
    Write("</select>");
  } else if (!control.text_area.empty()) {
    Write("<textarea name=", name, " ", control.text_area, ">", value, "</textarea>");
  } else {
    Write("<input type=text name=", name, " size=", control.size, " maxlength=", control.maxlength);
    if (record != nullptr) Write(" value=\"", value, "\"");
    Write(">");
  }
}

void RecordPage::Assign(data::RowWriter record) {
  for (const std::string_view column : record_.written) record.Set(column, request()(column));
  record.Update();
}

void RecordPage::SaveNewRecord() {
  WriteHeaders();
  Assign(OpenConnection().AddNew(record_.table));
  ReportSaved();
}

void RecordPage::UpdateRecord(std::string_view id) {
  WriteHeaders();
  Assign(OpenConnection().Edit(record_.table, Number(id)));
  ReportSaved();
}

void RecordPage::ReportSaved() {
  Write("<BLOCKQUOTE>Data have been successfully saved into the database.</BLOCKQUOTE>");
  WriteFooters();
}

void RecordPage::DeleteRecord(std::string_view id) {
  WriteHeaders();
  OpenConnection().Execute(
      {"delete from ", Name(record_.table), " where ", Name(record_.table.key()), "=", Number(id)});
  Write("<BLOCKQUOTE>", record_.deleted, "</BLOCKQUOTE>");
  WriteFooters();
}

}  // namespace surva

#include "scheduling/month_picker.h"

namespace surva {
namespace {

constexpr int kYears[] = {1999, 2000, 2001, 2002, 2003, 2004, 2005};

std::string_view CellOf(bool picked) {
  return picked ? "<td bgcolor=#FFFF99>" : "<td bgcolor=#FFFFFF>";
}

}  // namespace

PickedMonth ReadPickedMonth(const Request& request, const Clock& clock) {
  const DateTime today = clock.Now();
  PickedMonth picked{today.year, today.month};
  if (const std::string_view year = request.QueryString("Y"); !year.empty()) picked.year = ToInt16(year);
  if (const std::string_view month = request.QueryString("M"); !month.empty()) picked.month = ToInt16(month);
  return picked;
}

void WriteMonthPicker(Response& out, const PickedMonth& picked, std::string_view link) {
  out.Write("<br>"
            "<table border=0 cellspacing=1 cellpadding=1>"
            "<tr><th bgcolor=#6699FF><Font color=white>Month</font>&nbsp;</th>");
  for (int month = 1; month <= 12; ++month) {
    // There is no equals sign behind Y: a month's link leads into the current year.
    out.Write(CellOf(month == picked.month), link, month, "&Y", picked.year, " style=color:#000000>", month,
              "</a></td>");
  }
  out.Write("<td></td><td></td><td></td>"
            "<th bgcolor=#6699FF><Font color=white>Year</font>&nbsp;</th>");
  for (const int year : kYears) {
    out.Write(CellOf(year == picked.year), link, picked.month, "&Y=", year, " style=color:#000000>", year, "</a></td>");
  }
  out.Write("</table>");
}

std::string_view NameOfMonth(int month) {
  if (month < 1 || month > 12) throw Fault::InvalidArgument();
  return MonthName(month);
}

std::string DateTextOf(std::string_view day, int month, std::string_view year) {
  std::string text(day);
  text.append("-").append(NameOfMonth(month)).append("-").append(year);
  return text;
}

DateTime DateOf(std::string_view text) {
  const auto at = ReadDateText(text);
  if (!at) throw Fault::TypeMismatch();
  return *at;
}

}  // namespace surva

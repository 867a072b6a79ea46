#include "reporting/browse.h"

#include "filling/form_walk.h"
#include "reporting/general_view.h"

namespace surva {

void Browse::WebClass_Start() {
  static constexpr Link<Browse> kChain[] = {
      // here
      {Equal("PreviewForm", "1"),
       [](Browse& page) {
         page.PreView(page.request()("number"), page.request()("StudentID"), page.request()("ScheduleID"));
       }},
      {Equal("PreviewFormA", "1"),
       [](Browse& page) { page.PreViewA(page.request()("number"), page.request()("StudentID")); }},
      {Filled("ReadCriteriaA"),
       [](Browse& page) {
         page.ReadCriteria(forms::kAnonymous);
         page.ShowCount(forms::kAnonymous);
       }},
      {Filled("ReadCriteria"),
       [](Browse& page) {
         page.ReadCriteria(forms::kNamed);
         page.ShowCount(forms::kNamed);
       }},
      // answer_statistics.cc
      {Filled("Stats"), [](Browse& page) { page.Stats(forms::kNamed); }},
      {Filled("StatsA"), [](Browse& page) { page.Stats(forms::kAnonymous); }},
      // form_lists.cc
      {Filled("BrowseForms"), [](Browse& page) { page.BrowseForms(); }},
      {Filled("BrowseFormsA"), [](Browse& page) { page.BrowseFormsA(); }},
      // general_view.cc
      {Otherwise(), [](Browse& page) { page.ShowGeneral(); }},
  };
  Walk<Browse>(kChain, *this);
}

void Browse::WriteHeaders() {
  WriteHeadersOf(forms::kNamed);
}

void Browse::WriteHeadersA() {
  WriteHeadersOf(forms::kAnonymous);
}

void Browse::WriteFooters() {
  WriteStaffFooters(*this, menus::kBrowse);
}

void Browse::WriteHeaders1() {
  WritePopupHeaders(*this);
}

void Browse::WriteFooters1() {
  WritePopupFooters(*this);
}

void Browse::PreView(std::string_view number, std::string_view student, std::string_view schedule) {
  ShowFilledForm(number, StoredAnswers::Named(OpenConnection(), student, schedule));
}

void Browse::PreViewA(std::string_view number, std::string_view student) {
  ShowFilledForm(number, StoredAnswers::Anonymous(OpenConnection(), student));
}

void Browse::ShowFilledForm(std::string_view number, StoredAnswers answers) {
  response().Clear();
  FormWalk walk(*this, OpenConnection(), number);
  WriteHeaders1();
  Write("<BR><form action=surva.asp method=post><input type=hidden name=FormAccepted value=", number,
        ">"
        "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"0\" cellpadding=\"2\""
        " style=\"font-family: Tahoma; font-size: 8pt\">");
  walk.WriteRows(&answers, MissingText::kShowsEmpty);
  Write("<TR><TD align=left bgcolor=white><font face=tahoma size=2 color=red><B>*)</B></font>"
        "<font face=Tahoma size=2 color=black>&nbsp;Required question.</font></td>"
        "<TD align=right bgcolor=white>&nbsp;</TD><TR>"
        "</Table></Form>");
  WriteFooters1();
}

void Browse::ReadCriteria(const FormKind& kind) {
  for (const Criterion& criterion : kind.criteria) {
    const std::string_view chosen = request()(criterion.name);
    session().Set(criterion.name, chosen.empty() ? "%" : chosen);
  }
  for (const DateCriterion& date : {kind.begin, kind.end}) {
    // A date without its day leaves the one chosen earlier.
    if (!request().Filled(date.day)) continue;
    std::string text(request()(date.day));
    text.append("-").append(request()(date.month)).append("-").append(request()(date.year));
    session().Set(date.name, std::move(text));
  }
}

void Browse::ShowCount(const FormKind& kind) {
  WriteHeadersOf(kind);
  Write("<Blockquote>Number of filled survas: ", Forms(kind).Count(OpenConnection()), "</Blockquote>");
  WriteFooters();
}

void Browse::ShowGeneral() {
  ShowGeneralView(*this, OpenConnection());
}

}  // namespace surva

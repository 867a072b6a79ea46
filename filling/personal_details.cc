// The review of what the system holds about a respondent, before he fills in the form.
#include "filling/fill_form.h"

#include "frame/page_frame.h"

namespace surva {
namespace {

constexpr std::string_view kNotProvided = "<b>not provided</b>";
constexpr std::string_view kNotProvidedRed = "<font color=#FF3300><b>not provided</b></font>";

// One cell: the value, or in its place a remark that it is missing. What is tested need not be what is shown.
struct Detail {
  std::string_view caption;
  Field value;
  Field tested;
  std::string_view missing = kNotProvided;

  Detail(std::string_view own_caption, const Field& own_value) : Detail(own_caption, own_value, own_value) {}
  Detail(std::string_view own_caption, const Field& own_value, const Field& own_tested,
         std::string_view own_missing = kNotProvided)
      : caption(own_caption), value(own_value), tested(own_tested), missing(own_missing) {}
};

void WriteValue(Response& out, const Detail& detail) {
  if (detail.tested.IsEmpty()) {
    out.Write(detail.missing);
  } else {
    out.Write(detail.value);
  }
}

void WritePair(Response& out, const Detail& left, const Detail& right) {
  out.Write("<tr><td><Font color=navy>", left.caption, "</font></td><td><Font color=navy>", right.caption,
            "</font></td></tr>"
            "<tr><td colspan=2 bgcolor=#6699FF></td></tr>"
            "<tr><td>");
  WriteValue(out, left);
  out.Write("</td><td>");
  WriteValue(out, right);
  out.Write("</td></tr>");
}

void WriteAlone(Response& out, const Detail& detail) {
  out.Write("<tr><td colspan=2><Font color=navy>", detail.caption,
            "</font></td></tr>"
            "<tr><td colspan=2 bgcolor=#6699FF></td></tr>"
            "<tr><td colspan=2>");
  WriteValue(out, detail);
  out.Write("</td></tr>");
}

void WriteDetails(Response& out, const data::Row& person) {
  const Field student_phone = person["PhoneS"];
  out.Write("<tr><td colspan=2 bgcolor=blue><font color=white><B>Student details</b></font></td></tr>");
  WritePair(out, {"First name", person["FirstName"]}, {"Last name", person["LastName"]});
  WritePair(out, {"City", person["CityS"]}, {"Postcode", person["PostCodeS"]});
  WriteAlone(out, {"Address", person["AddressS"]});
  WritePair(out, {"Phone", student_phone}, {"e-mail", person["emailS"], person["emailS"], kNotProvidedRed});
  out.Write("<tr><td colspan=2>&nbsp;</td></tr>"
            "<tr><td colspan=2 bgcolor=blue><font color=white><B>Company details</b></font></td></tr>");
  WritePair(out, {"Company name", person["CompanyName"]}, {"City", person["City"]});
  WritePair(out, {"Address", person["Street"]}, {"Postcode", person["PostCode"]});
  // The company's phone goes by the student's: who gave none himself reads here that there is none.
  WritePair(out, {"Phone", person["Phone"], student_phone}, {"Fax", person["Fax"]});
  WritePair(out, {"e-mail", person["email"]}, {"Tax Number", person["TaxNumber"]});
}

}  // namespace

using data::Number;

void FillForm::ShowPersonalDetails() {
  if (!session()["RequirePersonalDataPreview"].IsTrue()) {
    return ShowBlankForm(session()["SurvaVersionID"].Text());
  }
  data::Connection& db = OpenConnection();
  const bool display_menu = session()["DisplayMenu"].IsTrue();
  WriteHead(*this);
  WriteBodyTag(*this);
  if (display_menu) {
    Write(
        "<TABLE bgColor=#ffffff border=0 cellPadding=0 cellSpacing=0 width=100%>"
        "<TR><TD align=left height=60 vAlign=top><IMG  border=0  src=images/train_cert.gif></TD></TR>"
        "<TR><TD bgColor=#003399 height=20 noWrap vAlign=center>"
        "<FONT color=#ffffff face=\"Verdana, Arial\"size=1><B>&nbsp;&nbsp;Surva&nbsp;&nbsp;|</FONT></TD></TR></TABLE>");
  }
  const data::Rows people = db.Query(
      {"SELECT FirstName, LastName, Student.Street as AddressS, Student.PostCode as PostCodeS, Student.City as CityS, "
       "Student.email as emailS, Student.Phone as PhoneS, CompanyName, Company.City as City, Company.Street as Street, "
       "Company.PostCode as PostCode, Company.Phone as Phone, Company.Fax as Fax, Company.email as email, TaxNumber "
       "FROM Student,Company where Company.CompanyID=Student.CompanyID and Student.StudentID=",
       Number(session()["StudentID"])});
  // A student without a company cannot go on from here.
  if (people.empty()) return;
  Write("<CENTER><font color=black><b>"
        "Check please are their any mistakes in your personal details or are their any data missing !</font></center>"
        "<TABLE border=0 cellPadding=0 cellSpacing=0 align=center>"
        "<tr><td>"
        "<Form Action=surva.asp method=post>"
        "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%>"
        "<tr><td colspan=2>&nbsp;</td></tr>");
  WriteDetails(response(), people.First());
  Write("<tr><td colspan=2>&nbsp;</td></tr>"
        "<tr><td colspan=2>"
        "<tr><td colspan=2 bgcolor=blue><font color=white><B>"
        "Describe existing mistakes or any missing data in the box below</b></font></td></tr>"
        "<tr><td><textarea rows=5 cols=40 name=Notes></textarea></td>"
        "<td valign=top align=left ><INPUT TYPE=Submit Name=Next Value=Next></form></td></tr>"
        "<tr><td colspan=2>&nbsp;</td></tr>"
        "</table></td></tr></TABLE>");
  if (display_menu) {
    Write("<CENTER></b></strong><BR><BR><P><font face=tahoma size=1><A href=");
    WriteHomeLink(*this);
    Write("</CENTER>");
  }
  Write("</BODY></HTML>");
}

void FillForm::SaveRemarks() {
  if (request().Filled("Notes")) {
    OpenConnection()
        .AddNew(data::tables::kMessage)
        .Set("Message", request()("Notes"))
        .Set("StudentID", session()["StudentID"])
        .Update();
  }
  ShowBlankForm(session()["SurvaVersionID"].Text());
}

}  // namespace surva

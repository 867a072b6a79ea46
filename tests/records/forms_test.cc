// The forms of the record pages, letter by letter.
#include "tests/records/clerk.h"

namespace surva::test {
namespace {

using namespace data::tables;
using records::Description;

class RecordForms : public Clerk {};
SURVA_ON_BOTH_ENGINES(RecordForms);

const std::string kRule = "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr>";
const std::string kStar = "<font color=red><b>*</b></font>";
const std::string kFieldRequired =
    "<BR><BR><Font color=red><b>*)</b></font><Font color=navy>&nbsp;<I>Field required</I></font>";

struct Cell {
  std::string caption, control;
};
std::string SearchRow(const Cell& left, const Cell& right) {
  return "<TR><TH align=left><Font color=navy>" + left.caption + "</Font></TH><TH align=left><Font color=navy>" +
         right.caption + "</Font></TH></TR>" + kRule + "<TR><TD>" + left.control + "</TD><TD>" + right.control +
         "</TD></TR>";
}
std::string SearchRow(const Cell& alone) {
  return "<TR><TH colspan=2 align=left><Font color=navy>" + alone.caption + "</Font></TH></TR>" + kRule +
         "<TR><TD colspan=2>" + alone.control + "</TD></TR>";
}
std::string SearchForm(const std::string& address, const std::string& rows) {
  return "<br><Form Action=" + address +
         " Method=POST><Input Type=Hidden Name=Action Value=P>"
         "<Table align=right border=0 cellspacing=0 cellpadding=2>" +
         rows + "<TR><TD colspan=2 align=right><INPUT TYPE=Submit Name=Search Value=Search></TD></TR></table></form>";
}
std::string SearchBox(const std::string& name, const std::string& maxlength, const std::string& size) {
  return "<INPUT TYPE=text Name=" + name + " maxlength=" + maxlength + " size=" + size + ">";
}

TEST_P(RecordForms, SearchForms) {
  const std::string long_name = "0123456789The Forty Last Characters of the Name, ok.";
  const auto seen = Add(kCompany, {{"CompanyName", long_name}});
  const auto twin = Add(kCompany, {{"CompanyName", "A & A"}});
  Add(kCompany, {{"CompanyName", "Nobody's"}});
  Add(kStudent, {{"CompanyID", seen}});
  Add(kStudent, {{"CompanyID", twin}});
  Add(kStudent, {{"CompanyID", twin}});
  const auto zebra = Add(kSurvaVersion, {{"SurvaName", "Zebra"}});
  const auto apple = Add(kSurvaVersion, {{"SurvaName", "apple"}});
  Add(kSurvaVersion, {{"SurvaName", "Unused"}});
  Add(kTraining, {{"Category", "office work"}, {"SurvaVersionID", zebra}});
  Add(kTraining, {{"Category", "Office Work"}, {"SurvaVersionID", apple}});
  Add(kTraining, {{"Category", "Law"}, {"SurvaVersionID", zebra}});

  EXPECT_EQ(StaffBody(Get(records::kCompany, {{"Action", "P"}}).page),
            SearchForm("company.asp", SearchRow({"Company name&nbsp;", SearchBox("CompanyName", "50", "40")},
                                                {"City", SearchBox("City", "30", "30")}) +
                                          SearchRow({"Street", SearchBox("Street", "50", "40")},
                                                    {"Postcode", SearchBox("PostCode", "10", "15")})));
  EXPECT_EQ(StaffBody(Get(records::kTrainer, {{"Action", "P"}}).page),
            SearchForm("Trainer.asp", SearchRow({"Last Name&nbsp;", SearchBox("LastName", "50", "40")},
                                                {"First Name", SearchBox("FirstName", "50", "40")}) +
                                          SearchRow({"e-mail", SearchBox("email", "50", "40")},
                                                    {"Phone", SearchBox("Phone", "50", "30")})));
  const std::string all = "<option value=-1 selected>All</option>";
  EXPECT_EQ(
      StaffBody(Get(records::kStudent, {{"Action", "P"}}).page),
      SearchForm("Student.asp", SearchRow({"Last name&nbsp;", SearchBox("Lastname", "50", "30")},
                                          {"First name", SearchBox("Firstname", "50", "30")}) +
                                    SearchRow({"City", SearchBox("City", "15", "10")},
                                              {"Company", "<select name=CompanyID size=1>" + all + "<option value=" +
                                                              std::to_string(seen) + ">" + long_name.substr(12) +
                                                              "</option><option value=" + std::to_string(twin) +
                                                              ">A & A</option></select>"})));
  ASSERT_EQ(long_name.substr(12).size(), 40U);
  EXPECT_EQ(StaffBody(Get(records::kTraining, {{"Action", "P"}}).page),
            SearchForm("training.asp",
                       SearchRow({"Training name&nbsp;", SearchBox("TrainingName", "80", "40")},
                                 {"Training category", "<select name=Category size=1>" + all +
                                                           "<option value=Law>Law</option>"
                                                           "<option value=office work>office work</option></select>"}) +
                           SearchRow({"Official number", SearchBox("OfficialID", "15", "10")},
                                     {"Internal number", SearchBox("InternalID", "15", "10")}) +
                           SearchRow({"Associated Surva", "<select name=SurvaVersionId size=1>" + all +
                                                              "<option value=" + std::to_string(apple) +
                                                              ">apple</option><option value=" + std::to_string(zebra) +
                                                              ">Zebra</option></select>"})));
}

std::string FormRow(const Cell& left, const Cell& right) {
  return "<TR><TD><font color=navy>" + left.caption + "</font></TD><TD><font color=navy>" + right.caption +
         "</font></TD></TR>" + kRule + "<tr><TD>" + left.control + "</TD><TD>" + right.control + "</TD></TR>";
}
std::string FormRow(const Cell& alone) {
  return "<TR><TD colspan=2><font color=navy>" + alone.caption + "</font></TD></TR>" + kRule + "<tr><TD colspan=2>" +
         alone.control + "</TD></TR>";
}
std::string Box(const std::string& name, const std::string& size, const std::string& maxlength) {
  return "<input type=text name=" + name + " size=" + size + " maxlength=" + maxlength + ">";
}
std::string Box(const std::string& name, const std::string& size, const std::string& maxlength,
                const std::string& value) {
  return "<input type=text name=" + name + " size=" + size + " maxlength=" + maxlength + " value=\"" + value + "\">";
}
const std::string kTable = "<Table BORDER=0 cellspacing=0 cellpadding=2 width=460>";
const std::string kAddEnd =
    "<TR><td colspan=2><INPUT TYPE=Submit Name=Save Value=Save>&nbsp;" + kFieldRequired + "</td></TR></Table></form>";

TEST_P(RecordForms, AddForms) {
  const std::string company_name = "A very long name of a company that is longer than sixty characters";
  const auto other = Add(kCompany, {{"CompanyName", company_name}});
  const auto first = Add(kCompany, {{"CompanyName", "A"}});
  const auto surva = Add(kSurvaVersion, {{"SurvaName", "Course <i>evaluation</i>"}});

  EXPECT_EQ(
      StaffBody(Get(records::kCompany, {{"Add", "1"}}).page),
      "<Form Action=company.asp method=post><BR>" + kTable +
          FormRow({"Company name&nbsp;" + kStar, Box("CompanyName", "50", "100")}, {"City", Box("City", "30", "60")}) +
          FormRow({"Street", Box("Street", "50", "100")}, {"Postcode", Box("Postcode", "10", "20")}) +
          FormRow({"Phone", Box("Phone", "20", "25")}, {"Fax", Box("Fax", "20", "25")}) +
          FormRow({"e-mail", Box("Email", "30", "50")}, {"Tax number", Box("TAXNumber", "30", "30")}) +
          FormRow({"Description", "<textarea name=Description rows=5 cols=50></textarea>"}) +
          "</Table><p><INPUT TYPE=Submit Name=Save Value=Save></form><BR><Font color=red><b>*)</b></font>"
          "<Font color=navy>&nbsp;<I>Field required</I></font></td>");
  EXPECT_EQ(StaffBody(Get(records::kStudent, {{"Add", "1"}}).page),
            "<Form Action=Student.asp method=post><Input Type=Hidden Name=StudentID Value=><BR><BR>" + kTable +
                FormRow({"First name&nbsp;" + kStar, Box("FirstName", "40", "60")},
                        {"Last name&nbsp;" + kStar, Box("LastName", "40", "60")}) +
                FormRow({"City&nbsp;", Box("City", "40", "60")}, {"Postcode&nbsp;", Box("PostCode", "15", "20")}) +
                FormRow({"Street&nbsp;", Box("street", "40", "60")}, {"e-mail&nbsp;", Box("email", "30", "50")}) +
                FormRow({"Phone&nbsp;", Box("Phone", "20", "45")}, {"Fax&nbsp;", Box("Fax", "20", "45")}) +
                FormRow({"Company", "<select name=CompanyID size=1><option value=" + std::to_string(first) +
                                        ">A</option><option value=" + std::to_string(other) + ">" +
                                        company_name.substr(company_name.size() - 60) + "</option></select>"}) +
                FormRow({"Description", "<textarea name=Description rows=5 cols=40></textarea>"}) + kAddEnd);
  EXPECT_EQ(StaffBody(Get(records::kTrainer, {{"Add", "1"}}).page),
            "<Form Action=Trainer.asp method=post><Input Type=Hidden Name=TrainerID Value=><BR><BR>" + kTable +
                FormRow({"First name&nbsp;" + kStar, Box("FirstName", "40", "90")},
                        {"Last name&nbsp;" + kStar, Box("LastName", "40", "90")}) +
                FormRow({"e-mail", Box("email", "30", "50")}, {"Phone", Box("Phone", "30", "50")}) +
                FormRow({"Description", "<textarea name=Description rows=5 cols=50></textarea>"}) + kAddEnd);
  EXPECT_EQ(
      StaffBody(Get(records::kTraining, {{"Add", "1"}}).page),
      "<Form Action=training.asp method=post><BR>" + kTable +
          FormRow({"Training name&nbsp;" + kStar, Box("TrainingName", "100", "200")}) +
          FormRow({"Default Surva", "<select name=SurvaVersionID size=1><option value=" + std::to_string(surva) +
                                        ">Course <i>evaluation</i></option></select>"},
                  {"Category", Box("Category", "50", "90")}) +
          FormRow({"Official ID", Box("OfficialID", "10", "15")}, {"Internal ID", Box("InternalID", "10", "15")}) +
          FormRow({"Description", "<textarea name=Description rows=5 cols=40></textarea>"}) + kAddEnd);
}

TEST_P(RecordForms, ModifyForms) {
  SkipKeys(*database, kStudent, 4);
  const auto company = Add(kCompany, {{"CompanyName", "Ames \"& Sons\""},
                                      {"Street", "Mill Lane 2"},
                                      {"PostCode", "00-950"},
                                      {"City", "Warsaw"},
                                      {"Phone", "1"},
                                      {"FAX", "2"},
                                      {"eMail", "a@b"},
                                      {"TaxNumber", "526"},
                                      {"Description", "Two\r\nlines </b>"}});
  const auto other = Add(kCompany, {{"CompanyName", "Zed"}});
  const auto student = Add(kStudent, {{"CompanyID", other},
                                      {"FirstName", "Zo\u00eb"},
                                      {"LastName", "Ames"},
                                      {"Phone", "3"},
                                      {"Fax", "4"},
                                      {"email", "z@a"},
                                      {"PostCode", "30-059"},
                                      {"City", "Krakow"},
                                      {"Street", "Long Street"}});
  const std::string id = std::to_string(student);
  const std::string update = "<TR><td colspan=2><INPUT TYPE=Submit Name=Update Value=Update>&nbsp;";
  const std::string end = kFieldRequired + "</td></TR></Table></form>";

  EXPECT_EQ(
      StaffBody(Get(records::kCompany, {{"Modify", std::to_string(company)}}).page),
      "<P><Form Action=company.asp method=post><Input Type=Hidden Name=CompanyID Value=" + std::to_string(company) +
          "><BR>" + kTable +
          FormRow({"Company name&nbsp;" + kStar, Box("CompanyName", "50", "100", "Ames \"& Sons\"")},
                  {"City", Box("City", "30", "60", "Warsaw")}) +
          FormRow({"Street", Box("Street", "50", "100", "Mill Lane 2")},
                  {"Postcode", Box("Postcode", "10", "20", "00-950")}) +
          FormRow({"Phone", Box("Phone", "20", "25", "1")}, {"Fax", Box("Fax", "20", "25", "2")}) +
          FormRow({"e-mail", Box("Email", "30", "50", "a@b")}, {"Tax number", Box("TAXNumber", "30", "30", "526")}) +
          FormRow({"Description", "<textarea name=Description rows=5 cols=50>Two\r\nlines </b></textarea>"}) + update +
          "<INPUT TYPE=Submit Name=Delete Value=Delete>" + end);
  // Under "First name" stands the last name, and the other way round.
  EXPECT_EQ(StaffBody(Get(records::kStudent, {{"Modify", id}}).page),
            "<P><Form Action=Student.asp method=post><Input Type=Hidden Name=StudentID Value=" + id + "><BR>" + kTable +
                FormRow({"First name&nbsp;" + kStar, Box("LastName", "40", "60", "Ames")},
                        {"Last name&nbsp;" + kStar, Box("FirstName", "40", "60", "Zo\u00eb")}) +
                FormRow({"City&nbsp;", Box("City", "40", "60", "Krakow")},
                        {"Postcode&nbsp;", Box("PostCode", "15", "20", "30-059")}) +
                FormRow({"Street&nbsp;", Box("street", "40", "60", "Long Street")},
                        {"e-mail&nbsp;", Box("email", "30", "50", "z@a")}) +
                FormRow({"Phone&nbsp;", Box("Phone", "20", "45", "3")}, {"Fax&nbsp;", Box("Fax", "20", "45", "4")}) +
                FormRow({"Company", "<select name=CompanyID size=1><option value=" + std::to_string(company) +
                                        ">Ames \"& Sons\"</option><option selected value=" + std::to_string(other) +
                                        ">Zed</option></select>"}) +
                FormRow({"Description", "<textarea name=Description rows=5 cols=40></textarea>"}) + update +
                "<INPUT TYPE=Submit Name=Delete Value=Delete>" + end);

  struct Guarded {
    const Description& page;
    std::int64_t key;
    const char* refusal;
  };
  const auto surva = Add(kSurvaVersion, {{"SurvaName", "S"}});
  const auto training = Add(kTraining, {{"TrainingName", "T"}, {"SurvaVersionID", surva}});
  const auto trainer = Add(kTrainer, {{"LastName", "Lee"}});
  const auto event = Add(kSchedule, {{"TrainingID", training}, {"TrainerID", trainer}});
  Add(kParticipant, {{"StudentID", student}, {"ScheduleID", event}});
  for (const auto& [page, key, refusal] : std::initializer_list<Guarded>{
           {records::kCompany, other, "This company can not be deleted because it has registered students."},
           {records::kStudent, student,
            "This Student can not be deleted because it has beeen registered in the schedule."},
           {records::kTrainer, trainer,
            "This Trainer can not be deleted because it has been registered in the schedule."},
           {records::kTraining, training,
            "This training can not be deleted because it has beeen registered in the schedule."}}) {
    const std::string body = StaffBody(Get(page, {{"Modify", std::to_string(key)}}).page);
    const std::string expected = update + "<BR><BR><font size=2 style=tahoma><B>" + refusal + "</b></font>" + end;
    ASSERT_GT(body.size(), expected.size());
    EXPECT_EQ(body.substr(body.size() - expected.size()), expected);
  }
  EXPECT_TRUE(Get(records::kTraining, {{"Modify", std::to_string(training)}})
                  .Holds("<option selected value=" + std::to_string(surva) + ">S</option>"));
}

}  // namespace
}  // namespace surva::test

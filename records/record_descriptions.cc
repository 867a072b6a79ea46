#include "records/record_description.h"

namespace surva::records {
namespace {

using data::Connection;
using All = Criterion::All;
using Kind = Criterion::Kind;

constexpr std::string_view kAddFormEnd =
    "<TR><td colspan=2><INPUT TYPE=Submit Name=Save Value=Save>&nbsp;"
    "<BR><BR><Font color=red><b>*)</b></font><Font color=navy>&nbsp;<I>Field required</I></font>"
    "</td></TR></Table></form>";

// ---- Companies

constexpr SearchControl kCompanySearch[] = {
    {"Company name&nbsp;", "CompanyName", 50, 40},
    {"City", "City", 30, 30},
    {"Street", "Street", 50, 40},
    {"Postcode", "PostCode", 10, 15},
};
constexpr Criterion kCompanyCriteria[] = {
    {.name = "CompanyName", .column = "CompanyName", .walked = true},
    {"City", "City"},
    {"Street", "Street"},
    {"PostCode", "PostCode"},
};
constexpr ListColumn kCompanyColumns[] = {
    {"Company Name", 150}, {"City", 90}, {"Street", 90}, {"Postcode", 90}, {"Tax Number", 90}};
constexpr FormControl kCompanyForm[] = {
    {"Company name&nbsp;", true, "CompanyName", 50, 100},
    {"City", false, "City", 30, 60},
    {"Street", false, "Street", 50, 100},
    {"Postcode", false, "Postcode", 10, 20},
    {"Phone", false, "Phone", 20, 25},
    {"Fax", false, "Fax", 20, 25},
    {"e-mail", false, "Email", 30, 50},
    {"Tax number", false, "TAXNumber", 30, 30},
    {.caption = "Description", .name = "Description", .text_area = "rows=5 cols=50", .alone = true},
};
constexpr std::string_view kCompanyWritten[] = {"CompanyName", "Street", "PostCode",  "City",       "Phone",
                                                "FAX",         "eMail",  "TaxNumber", "Description"};

// ---- Students

// Only companies that have students.
constexpr Choices kStudentsCompanies{
    [](Connection& db) {
      return db.Query({"Select CompanyID, CompanyName from Company "
                       "where exists (select StudentID from Student where Student.CompanyID=Company.CompanyID) "
                       "order by CompanyName nulls first, CompanyID"});
    },
    40};
constexpr Choices kAllCompanies{[](Connection& db) {
                                  return db.Query({"Select CompanyID,CompanyName from Company "
                                                   "order by CompanyName nulls first, CompanyID"});
                                },
                                60};
constexpr SearchControl kStudentSearch[] = {
    {"Last name&nbsp;", "Lastname", 50, 30},
    {"First name", "Firstname", 50, 30},
    {"City", "City", 15, 10},
    {.caption = "Company", .name = "CompanyID", .list = &kStudentsCompanies},
};
constexpr Criterion kStudentCriteria[] = {
    {"FirstName", "FirstName"},
    // The text box sends no -1 of its own, and one that is typed asks for nothing.
    {.name = "LastName", .column = "LastName", .all = All::kEmptyOrMinusOne, .walked = true},
    {"City", "student.City"},
    {"CompanyID", "student.CompanyID", All::kEmptyOrMinusOne, Kind::kNumber},
};
constexpr ListColumn kStudentColumns[] = {
    {"Last name", 80, true}, {"First name", 80, true}, {"City", 80, true}, {"Company", 110, true}};
constexpr FormControl kStudentForm[] = {
    // The modify form has its first two controls the other way round, under the captions as they are.
    {.caption = "First name&nbsp;",
     .required = true,
     .name = "FirstName",
     .size = 40,
     .maxlength = 60,
     .name_on_modify = "LastName"},
    {.caption = "Last name&nbsp;",
     .required = true,
     .name = "LastName",
     .size = 40,
     .maxlength = 60,
     .name_on_modify = "FirstName"},
    {"City&nbsp;", false, "City", 40, 60},
    {"Postcode&nbsp;", false, "PostCode", 15, 20},
    {"Street&nbsp;", false, "street", 40, 60},
    {"e-mail&nbsp;", false, "email", 30, 50},
    {"Phone&nbsp;", false, "Phone", 20, 45},
    {"Fax&nbsp;", false, "Fax", 20, 45},
    {.caption = "Company", .name = "CompanyID", .list = &kAllCompanies, .alone = true},
    {.caption = "Description", .name = "Description", .text_area = "rows=5 cols=40", .alone = true},
};
constexpr std::string_view kStudentWritten[] = {"FirstName", "LastName", "Phone",  "Fax",         "email",
                                                "Postcode",  "City",     "Street", "Description", "CompanyID"};

// ---- Trainers

constexpr SearchControl kTrainerSearch[] = {
    {"Last Name&nbsp;", "LastName", 50, 40},
    {"First Name", "FirstName", 50, 40},
    {"e-mail", "email", 50, 40},
    {"Phone", "Phone", 50, 30},
};
constexpr Criterion kTrainerCriteria[] = {
    {"FirstName", "FirstName"},
    {.name = "LastName", .column = "LastName", .walked = true},
    {"email", "email"},
    {"Phone", "Phone"},
};
constexpr ListColumn kTrainerColumns[] = {
    {"Last Name", 150, true},
    {"First Name", 90, true},
    {.caption = "e-mail", .width = 90, .mail_link = true},
    {"Phone", 90},
};
constexpr FormControl kTrainerForm[] = {
    {"First name&nbsp;", true, "FirstName", 40, 90},
    {"Last name&nbsp;", true, "LastName", 40, 90},
    {"e-mail", false, "email", 30, 50},
    {"Phone", false, "Phone", 30, 50},
    {.caption = "Description", .name = "Description", .text_area = "rows=5 cols=50", .alone = true},
};
constexpr std::string_view kTrainerWritten[] = {"FirstName", "LastName", "eMail", "Phone", "Description"};

// ---- Trainings

// A category that is spelt in several letter cases stands there once, as its first training has it.
constexpr Choices kCategories{[](Connection& db) {
  return db.Query({"Select Category, Category as Text from Training "
                   "where TrainingID in (select min(TrainingID) from Training group by Category) "
                   "order by Category nulls first"});
}};
// Only versions that some training uses.
constexpr Choices kTrainingsSurvas{[](Connection& db) {
  return db.Query({"Select SurvaVersionID, SurvaName from SurvaVersion where exists "
                   "(select TrainingID from Training where Training.SurvaVersionID=SurvaVersion.SurvaVersionID) "
                   "order by SurvaName nulls first, SurvaVersionID"});
}};
constexpr Choices kAllSurvas{[](Connection& db) {
  return db.Query({"Select SurvaVersionID,SurvaName from SurvaVersion "
                   "order by SurvaName nulls first, SurvaVersionID"});
}};
constexpr SearchControl kTrainingSearch[] = {
    {"Training name&nbsp;", "TrainingName", 80, 40},
    {.caption = "Training category", .name = "Category", .list = &kCategories},
    {"Official number", "OfficialID", 15, 10},
    {"Internal number", "InternalID", 15, 10},
    {.caption = "Associated Surva", .name = "SurvaVersionId", .list = &kTrainingsSurvas, .alone = true},
};
constexpr Criterion kTrainingCriteria[] = {
    {.name = "TrainingName", .column = "TrainingName", .walked = true},
    {"Category", "Category", All::kEmptyOrMinusOne},
    {"OfficialID", "OfficialID"},
    {"InternalID", "InternalID"},
    {"SurvaVersionID", "Training.SurvaVersionID", All::kEmptyOrMinusOne, Kind::kNumber},
};
constexpr ListColumn kTrainingColumns[] = {
    {"Training Name", 150}, {"Category", 70}, {"Official ID", 80, true}, {"Internal ID", 80, true}};
constexpr FormControl kTrainingForm[] = {
    {.caption = "Training name&nbsp;",
     .required = true,
     .name = "TrainingName",
     .size = 100,
     .maxlength = 200,
     .alone = true},
    {.caption = "Default Surva", .name = "SurvaVersionID", .list = &kAllSurvas},
    {"Category", false, "Category", 50, 90},
    {"Official ID", false, "OfficialID", 10, 15},
    {"Internal ID", false, "InternalID", 10, 15},
    {.caption = "Description", .name = "Description", .text_area = "rows=5 cols=40", .alone = true},
};
constexpr std::string_view kTrainingWritten[] = {"TrainingName", "Category",    "OfficialID",
                                                 "InternalID",   "Description", "SurvaVersionID"};

// None is left without its partner.
template <class Control>
constexpr bool Paired(std::span<const Control> controls) {
  std::size_t in_pair = 0;
  for (const Control& control : controls) {
    if (control.alone && in_pair % 2 != 0) return false;
    if (!control.alone) ++in_pair;
  }
  return in_pair % 2 == 0;
}
template <class Control, std::size_t kCount>
constexpr bool Paired(const Control (&controls)[kCount]) {
  return Paired(std::span<const Control>(controls));
}
static_assert(Paired(kCompanySearch) && Paired(kStudentSearch) && Paired(kTrainerSearch) && Paired(kTrainingSearch));
static_assert(Paired(kCompanyForm) && Paired(kStudentForm) && Paired(kTrainerForm) && Paired(kTrainingForm));

}  // namespace

constinit const Description kCompany{
    .menu = menus::kCompany,
    .table = data::tables::kCompany,
    .address = "company.asp",
    .search_form = kCompanySearch,
    .criteria = kCompanyCriteria,
    .search = "SELECT CompanyID, CompanyName,City,Street,PostCode,TaxNumber from Company",
    .first_link = " where ",
    .order = " order by CompanyName nulls first, CompanyID",
    .columns = kCompanyColumns,
    .form = kCompanyForm,
    .written = kCompanyWritten,
    .key_on_add_form = false,
    .add_form_end = "</Table><p>"
                    "<INPUT TYPE=Submit Name=Save Value=Save></form><BR><Font color=red><b>*)</b></font>"
                    "<Font color=navy>&nbsp;<I>Field required</I></font></td>",
    .guard = "select CompanyID from Student where CompanyID=",
    .guarded = "This company can not be deleted because it has registered students.",
    .deleted = "Company has been successfully deleted from the system.",
};

constinit const Description kStudent{
    .menu = menus::kStudent,
    .table = data::tables::kStudent,
    .address = "Student.asp",
    .search_form = kStudentSearch,
    .criteria = kStudentCriteria,
    .search = "SELECT StudentID,LastName,FirstName,student.City,CompanyName from Student,company "
              "where student.companyid=company.companyid",
    .first_link = " and ",
    .order = " order by LastName nulls first, StudentID",
    .columns = kStudentColumns,
    .form = kStudentForm,
    .written = kStudentWritten,
    .key_on_add_form = true,
    .add_form_end = kAddFormEnd,
    .guard = "select StudentID from Participant where StudentID=",
    .guarded = "This Student can not be deleted because it has beeen registered in the schedule.",
    .deleted = "Student has been successfully deleted from the system.",
};

constinit const Description kTrainer{
    .menu = menus::kTrainer,
    .table = data::tables::kTrainer,
    .address = "Trainer.asp",
    .search_form = kTrainerSearch,
    .criteria = kTrainerCriteria,
    .search = "SELECT TrainerID,LastName,FirstName,email,Phone from Trainer",
    .first_link = " where ",
    .order = " order by LastName nulls first, TrainerID",
    .columns = kTrainerColumns,
    .form = kTrainerForm,
    .written = kTrainerWritten,
    .key_on_add_form = true,
    .add_form_end = kAddFormEnd,
    .guard = "select TrainerID from Schedule where TrainerID=",
    .guarded = "This Trainer can not be deleted because it has been registered in the schedule.",
    .deleted = "Trainer has been successfully deleted from the system.",
};

constinit const Description kTraining{
    .menu = menus::kTraining,
    .table = data::tables::kTraining,
    .address = "training.asp",
    .search_form = kTrainingSearch,
    .criteria = kTrainingCriteria,
    .search = "SELECT TrainingID,TrainingName,Category,OfficialID,InternalID from Training",
    .first_link = " where ",
    .order = " order by TrainingName nulls first, TrainingID",
    .columns = kTrainingColumns,
    .form = kTrainingForm,
    .written = kTrainingWritten,
    .key_on_add_form = false,
    .add_form_end = kAddFormEnd,
    .guard = "select TrainingID from Schedule where TrainingID=",
    .guarded = "This training can not be deleted because it has beeen registered in the schedule.",
    .deleted = "Training has been successfully deleted from the system.",
};

}  // namespace surva::records

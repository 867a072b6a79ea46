// What the record pages write: whole lives of records, and what must not be written.
#include "tests/records/clerk.h"

namespace surva::test {
namespace {

using namespace data::tables;
using records::Description;

class RecordWrites : public Clerk {};
SURVA_ON_BOTH_ENGINES(RecordWrites);

TEST_P(RecordWrites, LifeOfACompany) {
  const NameValues form{{"CompanyName", "O'Hara \"& Sons\""},
                        {"City", "Cork"},
                        {"Street", " Mill "},
                        {"Postcode", "T12"},
                        {"Phone", "1"},
                        {"Fax", "2"},
                        {"Email", "o@h"},
                        {"TAXNumber", "IE"},
                        {"Description", "<b>\r\nx"},
                        {"Save", "Save"}};
  EXPECT_EQ(StaffBody(Post(records::kCompany, form).page), kSaved);
  const auto all = [&] {
    return Read({"select CompanyID, CompanyName, Street, PostCode, City, Phone, FAX, eMail, TaxNumber, Description "
                 "from Company"});
  };
  EXPECT_EQ(all(), "1,O'Hara \"& Sons\", Mill ,T12,Cork,1,2,o@h,IE,<b>\r\nx");
  EXPECT_EQ(Listed(Search(records::kCompany, {{"CompanyName", "o"}})), "O'Hara \"& Sons\"");
  // Update wins over Delete and Save; what is not posted becomes empty.
  EXPECT_EQ(StaffBody(Post(records::kCompany, {{"CompanyID", "1"},
                                               {"Save", "Save"},
                                               {"Delete", "Delete"},
                                               {"Update", "Update"},
                                               {"CompanyName", "Ames"}})
                          .page),
            kSaved);
  EXPECT_EQ(all(), "1,Ames,,,,,,,,");
  EXPECT_EQ(StaffBody(Post(records::kCompany, {{"CompanyID", "1"}, {"Delete", "Delete"}, {"Save", "Save"}}).page),
            "<BLOCKQUOTE>Company has been successfully deleted from the system.</BLOCKQUOTE>");
  EXPECT_EQ(all(), "");
}

TEST_P(RecordWrites, LivesOfTheOthers) {
  Add(kCompany, {{"CompanyName", "Ames"}});
  Add(kCompany, {{"CompanyName", "Bell"}});
  EXPECT_EQ(StaffBody(Post(records::kStudent, {{"StudentID", ""},
                                               {"FirstName", "Zo\u00eb"},
                                               {"LastName", "Lee"},
                                               {"City", "Ely"},
                                               {"PostCode", "CB7"},
                                               {"street", "Mill"},
                                               {"email", "z@l"},
                                               {"Phone", "1"},
                                               {"Fax", "2"},
                                               {"CompanyID", "2"},
                                               {"Description", "d"},
                                               {"Save", "Save"}})
                          .page),
            kSaved);
  const auto students = [&] {
    return Read({"select StudentID, CompanyID, FirstName, LastName, Phone, Fax, email, PostCode, City, Street, "
                 "Description from Student"});
  };
  EXPECT_EQ(students(), "1,2,Zo\u00eb,Lee,1,2,z@l,CB7,Ely,Mill,d");
  Post(records::kStudent, {{"StudentID", "1"}, {"FirstName", "Z"}, {"CompanyID", " 1 "}, {"Update", "Update"}});
  EXPECT_EQ(students(), "1,1,Z,,,,,,,,");
  EXPECT_EQ(StaffBody(Get(records::kStudent, {{"StudentID", "1"}, {"Delete", "1"}}).page),
            "<BLOCKQUOTE>Student has been successfully deleted from the system.</BLOCKQUOTE>");
  EXPECT_EQ(students(), "");

  Post(records::kTrainer,
       {{"FirstName", "Ann"}, {"LastName", "Kay"}, {"email", "a@k"}, {"Phone", "5"}, {"Save", "Save"}});
  EXPECT_EQ(Read({"select TrainerID, FirstName, LastName, eMail, Phone, Description from Trainer"}),
            "1,Ann,Kay,a@k,5,");
  Post(records::kTrainer, {{"TrainerID", "1"}, {"LastName", "Ray"}, {"Update", "Update"}});
  EXPECT_EQ(Read({"select FirstName, LastName from Trainer"}), ",Ray");
  EXPECT_EQ(StaffBody(Post(records::kTrainer, {{"TrainerID", "1"}, {"Delete", "Delete"}}).page),
            "<BLOCKQUOTE>Trainer has been successfully deleted from the system.</BLOCKQUOTE>");

  Post(records::kTraining, {{"TrainingName", "C++"},
                            {"Category", "IT"},
                            {"OfficialID", "O"},
                            {"InternalID", "I"},
                            {"SurvaVersionID", "7"},
                            {"Save", "Save"}});
  EXPECT_EQ(Read({"select TrainingID, TrainingName, Category, OfficialID, InternalID, Description, SurvaVersionID "
                  "from Training"}),
            "1,C++,IT,O,I,,7");
  EXPECT_EQ(StaffBody(Post(records::kTraining, {{"TrainingID", "1"}, {"Delete", "Delete"}}).page),
            "<BLOCKQUOTE>Training has been successfully deleted from the system.</BLOCKQUOTE>");
  EXPECT_EQ(Read({"select count(*) from Training"}) + Read({"select count(*) from Trainer"}), "00");
}

TEST_P(RecordWrites, AForgedDeleteIsDone) {
  Add(kCompany, {{"CompanyName", "Ames"}});
  Add(kStudent, {{"CompanyID", 1}});
  Post(records::kCompany, {{"CompanyID", "1"}, {"Delete", "Delete"}});
  EXPECT_EQ(Read({"select count(*) from Company"}), "0");
  EXPECT_TRUE(Post(records::kCompany, {{"CompanyID", "77"}, {"Delete", "Delete"}}).Holds("successfully deleted"));
}

TEST_P(RecordWrites, Refused) {
  Add(kCompany, {{"CompanyName", "Ames"}});
  Add(kStudent, {{"CompanyID", 1}, {"LastName", "Lee"}});
  const std::string before =
      Read({"select CompanyName from Company"}) + Read({"select LastName, CompanyID from Student"});
  const std::string too_long(101, 'x');
  using enum FaultNumber;
  struct Case {
    const Description& page;
    NameValues request;
    FaultNumber fault;
  };
  for (const Case& one : std::initializer_list<Case>{
           {records::kCompany, {{"Modify", "2"}}, kNoCurrentRow},
           {records::kCompany, {{"Modify", "x"}}, kStatementFailed},
           {records::kCompany, {{"Modify", "1 or 1=1"}}, kStatementFailed},
           {records::kCompany, {{"Modify", "1'"}}, kStatementFailed},
           {records::kCompany, {{"Update", "1"}, {"CompanyID", "2"}, {"CompanyName", "x"}}, kNoCurrentRow},
           {records::kCompany, {{"Update", "1"}, {"CompanyName", "x"}}, kStatementFailed},
           {records::kCompany, {{"Update", "1"}, {"CompanyID", "1, 1"}, {"CompanyName", "x"}}, kStatementFailed},
           {records::kCompany, {{"Delete", "1"}}, kStatementFailed},
           {records::kCompany, {{"Delete", "1"}, {"CompanyID", "1 or 1=1"}}, kStatementFailed},
           {records::kCompany, {{"Save", "1"}, {"CompanyName", too_long}}, kValueRefused},
           {records::kCompany, {{"Update", "1"}, {"CompanyID", "1"}, {"CompanyName", too_long}}, kValueRefused},
           {records::kStudent, {{"Save", "1"}, {"LastName", "x"}}, kTypeMismatch},
           {records::kStudent, {{"Save", "1"}, {"CompanyID", "Ames"}}, kTypeMismatch},
           {records::kStudent, {{"Update", "1"}, {"StudentID", "1"}, {"LastName", "x"}}, kTypeMismatch},
           {records::kTraining, {{"Save", "1"}, {"TrainingName", "x"}}, kTypeMismatch},
       }) {
    const Answer answer = Post(one.page, one.request);
    EXPECT_EQ(answer.faults, std::vector{one.fault}) << one.request[0].first << " " << answer.page;
    EXPECT_EQ(answer.Holds("Error cause: You have entered an incorrect value."), one.fault == kTypeMismatch);
    EXPECT_EQ(StaffBody(answer.page).substr(0, 16), "<BLOCKQUOTE><BR>");
  }
  EXPECT_EQ(Read({"select CompanyName from Company"}) + Read({"select LastName, CompanyID from Student"}), before);
  EXPECT_EQ(Read({"select count(*) from Training"}), "0");
}

TEST_P(RecordWrites, TheFirstKnownParameterDecides) {
  Add(kCompany, {{"CompanyName", "Ames"}});
  EXPECT_EQ(StaffBody(Get(records::kCompany, {}).page), "");
  EXPECT_EQ(StaffBody(Get(records::kCompany, {{"Action", "p"}, {"Search", "search"}, {"Add", ""}}).page), "");
  EXPECT_TRUE(Get(records::kCompany, {{"Action", "P"}, {"Search", "Search"}}).Holds("Name=PageNo"));
  EXPECT_TRUE(Get(records::kCompany, {{"Action", "P"}, {"Modify", "1"}}).Holds("Name=Search Value=Search"));
  EXPECT_TRUE(Get(records::kCompany, {{"Add", "1"}, {"Modify", "1"}}).Holds("Value=Update"));
  visitor.dsn = "";
  EXPECT_EQ(Get(records::kCompany, {}).faults, std::vector{FaultNumber::kConnectionFailed});
  // Two forms need no database.
  EXPECT_TRUE(Get(records::kCompany, {{"Add", "1"}}).faults.empty());
  EXPECT_TRUE(Get(records::kTrainer, {{"Action", "P"}}).faults.empty());
  EXPECT_EQ(Get(records::kStudent, {{"Add", "1"}}).faults, std::vector{FaultNumber::kConnectionFailed});
}

}  // namespace
}  // namespace surva::test

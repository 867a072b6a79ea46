// The lists of filled forms.
#include "tests/reporting/analyst.h"

namespace surva::test {
namespace {

using namespace data::tables;

const std::string kOpening = "</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD>";
const std::string kEnd = "</TABLE><BR><BR><BR><BR>";

std::string EventHead(const std::string& name, const std::string& trainer, const std::string& period,
                      const std::string& place, const std::string& version) {
  return "<TR><TD colspan=3>&nbsp;</TD></TR><TR><TH align=left colspan=3 bgcolor=white><font color=navy>" + name +
         "</font></th></tr><TR><Td bgcolor=navy align=left  colspan=3><font color=white><small>Trainer:&nbsp;" +
         trainer + "&nbsp;&nbsp;&nbsp;&nbsp;Period:&nbsp;" + period +
         "&nbsp;&nbsp;&nbsp;&nbsp;Place of training:&nbsp;" + place + "&nbsp;&nbsp;&nbsp;&nbsp;surva version:&nbsp" +
         version +
         "</small></font></td></tr>"
         "<TR><TD align=left><font color=navy size=2><B>Last name&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
         "<TD align=left><font color=navy size=2><B>First name&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
         "<TD align=left><font color=navy size=2><B>Company name&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD></TR>"
         "<TR><Td bgcolor=navy size=1 colspan=3></td></tr>";
}

std::string Filled(const std::string& version, const std::string& student, const std::string& event,
                   const std::string& last, const std::string& first, const std::string& company) {
  return "<TR><TD><a target=preview href=browse.asp?PreviewForm=1&Number=" + version + "&StudentID=" + student +
         "&ScheduleID=" + event + ">" + last + "</a></TD><TD>" + first + "</TD><TD>" + company + "</TD></TR>";
}

const std::string kFirstEvent = EventHead("O2&nbsp;&nbsp;C++ <20>", "Kay&nbsp;Ann", "1/3 to 5/3", "Hall A", "Course") +
                                "<TR><TD>Ames</TD><TD>Cy</TD><TD>Ames & Sons</TD></TR>" +
                                Filled("51", "21", "61", "Ames", "Zo\u00eb", "Ames & Sons") +
                                Filled("51", "22", "61", "bolt", "Ben", "bolt <b>");
const std::string kSecondEvent = EventHead("O1&nbsp;&nbsp;SQL", "Lee&nbsp;Bob", "8/3 to 10/3", "Room 7", "brief") +
                                 Filled("52", "21", "62", "Ames", "Zo\u00eb", "Ames & Sons") +
                                 "<TR><TD>bolt</TD><TD>Ben</TD><TD>bolt <b></TD></TR>";
const std::string kThirdEvent = EventHead("O2&nbsp;&nbsp;C++ <20>", "Lee&nbsp;Bob", "30/3 to 2/4", "", "Course") +
                                Filled("51", "23", "63", "Ames", "Cy", "Ames & Sons");

std::string List(const std::string& events) {
  return kOpening + (events.empty() ? "<BLOCKQUOTE>No survas to display.</BLOCKQUOTE>"
                                    : "<TABLE BORDER=0 cellspacing=0 cellpadding=2>" + events + kEnd);
}

class FormLists : public Analyst {
 protected:
  std::string Named(const std::string& event = "") {
    return StaffBody(GetBrowse({{"browseforms", "1"}, {"ScheduleID", event}}).page);
  }
};
SURVA_ON_BOTH_ENGINES(FormLists);

TEST_P(FormLists, ByTheFilterOrByAnEvent) {
  AddEvents();
  AddEvent(41, 31, 51, DateTime{2004, 3, 1}, DateTime{2004, 3, 5}, "Nobody enrolled");
  FilterNothing();
  EXPECT_EQ(Named(), List(kFirstEvent + kSecondEvent)) << "an event without a place is in no filtered list";
  EXPECT_EQ(Named("63"), List(kThirdEvent));
  EXPECT_EQ(Named("6_"), List(kFirstEvent + kSecondEvent + kThirdEvent));
  EXPECT_EQ(Named("64"), List(""));
  EXPECT_EQ(Named("061"), List(""));
  EXPECT_EQ(GetBrowse({{"BrowseForms", "1"}, {"ScheduleID", "6'"}}).faults, Faults{FaultNumber::kStatementFailed});

  visitor.session().Set("BDate", "1-March-2004");
  visitor.session().Set("Edate", "9-March-2004");
  EXPECT_EQ(Named(), List(kFirstEvent)) << "the second ends too late";
  visitor.session().Set("EDate", "10-March-2004");
  EXPECT_EQ(Named(), List(kFirstEvent + kSecondEvent));
  visitor.session().Set("BDate", "2-Mar-04");
  EXPECT_EQ(Named(), List(kSecondEvent)) << "the first begins too early";
  visitor.session().Set("StudentID", 22);  // as a visit to the public page leaves it
  visitor.session().Set("CompanyID", "11");
  EXPECT_EQ(Named(), List(""));
  // An event of the request's own leaves the filter unread, even where it could not be read.
  visitor.session().Set("BDate", "no date");
  visitor.session().Set("Place", "'");
  EXPECT_EQ(Named("62"), List(kSecondEvent));
  EXPECT_TRUE(GetBrowse({{"BrowseForms", "1"}, {"ScheduleID", "62"}})
                  .Holds("<A HREF=browse.asp?Stats=1&ScheduleID=62>Statistics</A>"));
}

TEST_P(FormLists, NamesAndOrder) {
  AddEvents();
  std::string name(77, 'a');
  name.insert(0, "\u00c9\u00e9");
  const Value none;
  Add(kTraining, {{"TrainingName", name + "z"}, {"OfficialID", none}});  // 80 characters
  Add(kTraining, {{"TrainingName", "x" + name + "z"}, {"OfficialID", "O9"}});
  Add(kStudent, {{"CompanyID", 11}, {"FirstName", "Zo\u00eb"}, {"LastName", "AMES"}});
  Add(kStudent, {{"CompanyID", 11}, {"FirstName", none}, {"LastName", "Ames"}});
  Add(kStudent, {{"CompanyID", 11}, {"FirstName", "Y"}, {"LastName", none}});
  AddEvent(43, 31, 51, none, DateTime{2004, 12, 31, 23, 0, 0}, none);
  AddEvent(44, 31, 51, DateTime{2004, 3, 1}, none, none);
  for (const int student : {24, 22, 26, 21, 25}) Add(kParticipant, {{"ScheduleID", 64}, {"StudentID", student}});
  Add(kParticipant, {{"ScheduleID", 65}, {"StudentID", 21}});
  EXPECT_EQ(Named("64"), List(EventHead("&nbsp;&nbsp;" + name + "z", "Kay&nbsp;Ann", "/ to 31/12", "", "Course") +
                              Filled("51", "26", "64", "", "Y", "Ames & Sons") +
                              Filled("51", "25", "64", "Ames", "", "Ames & Sons") +
                              Filled("51", "24", "64", "AMES", "Zo\u00eb", "Ames & Sons") +
                              Filled("51", "21", "64", "Ames", "Zo\u00eb", "Ames & Sons") +
                              Filled("51", "22", "64", "bolt", "Ben", "bolt <b>")))
      << "two of one name come in the order in which they were enrolled";
  EXPECT_EQ(Named("65"),
            List(EventHead("O9&nbsp;&nbsp" + std::string(76, 'a') + "z...", "Kay&nbsp;Ann", "1/3 to /", "", "Course") +
                 Filled("51", "21", "65", "Ames", "Zo\u00eb", "Ames & Sons")));
}

TEST_P(FormLists, Anonymous) {
  AddEvents();
  FilterNothing();
  const auto list = [this] { return StaffBody(GetBrowse({{"browseformsA", "1"}, {"ScheduleID", "61"}}).page); };
  EXPECT_EQ(list(), kOpening + "<BR><BR><BLOCKQUOTE>No survas to display.</BLOCKQUOTE>");
  const DateTime begun{2004, 3, 1, 9, 5, 0};
  for (const auto& [address, version, fill_date] : {std::tuple("10.0.0.8", 51, Value(DateTime{2004, 3, 1, 12, 0, 9})),
                                                    {"FE80::1", 52, Value(DateTime{2004, 3, 2})},
                                                    {"10.0.0.8", 51, Value()},
                                                    {"10.0.0.8", 51, Value(DateTime{2004, 3, 1, 12, 0, 9})}}) {
    Add(kAnonymousStudent,
        {{"IPAddress", address}, {"SurvaVersionID", version}, {"CreateDate", begun}, {"FillDate", fill_date}});
  }
  const auto row = [](const char* student, const char* version, const char* address, const char* name,
                      const char* fill_date) {
    return std::string("<TR><TD><a target=preview href=browse.asp?PreviewFormA=1&Number=") + version +
           "&StudentID=" + student + ">" + address + "</a></TD><TD>" + name +
           "&nbsp;&nbsp;&nbsp;&nbsp;</TD><TD>3/1/2004 9:05:00 AM&nbsp;&nbsp;&nbsp;&nbsp;</TD><TD>" + fill_date +
           "</TD></TR>";
  };
  EXPECT_EQ(list(), kOpening +
                        "<BR><BR><TABLE BORDER=0 cellspacing=0 cellpadding=2>"
                        "<TR><TD align=left><font color=navy size=2><B>IP Address&nbsp;&nbsp;&nbsp;&nbsp;</B>"
                        "</font></TD>"
                        "<TD align=left><font color=navy size=2><B>surva version&nbsp;&nbsp;&nbsp;&nbsp;</B>"
                        "</font></TD>"
                        "<TD align=left><font color=navy size=2><B>Logon date&nbsp;&nbsp;&nbsp;&nbsp;</B>"
                        "</font></TD>"
                        "<TD align=left><font color=navy size=2><B>Fill date&nbsp;&nbsp;&nbsp;&nbsp;</B>"
                        "</font></TD></TR><TR><Td bgcolor=navy size=1 colspan=4></td></tr>" +
                        row("82", "52", "FE80::1", "brief", "3/2/2004") +
                        row("81", "51", "10.0.0.8", "Course", "3/1/2004 12:00:09 PM") +
                        row("84", "51", "10.0.0.8", "Course", "3/1/2004 12:00:09 PM") + kEnd);
  EXPECT_TRUE(GetBrowse({{"BrowseFormsA", "1"}, {"ScheduleID", "61"}})
                  .Holds("<A HREF=browse.asp?StatsA=1&ScheduleID=61>Statistics</A>"));
}

}  // namespace
}  // namespace surva::test

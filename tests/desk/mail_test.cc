#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <thread>

#include "desk/mail_sender.h"
#include "tests/support/node.h"
#include "tests/support/recorded.h"

namespace surva::desk {
namespace {

using test::Holds;

// A real SMTP server that keeps what it takes.
class MailServer {
 public:
  explicit MailServer(const std::string& tls = "") {
    std::string folder = (std::filesystem::temp_directory_path() / "surva-mails-XXXXXX").string();
    folder_ = mkdtemp(folder.data());
    server_ = popen(("exec /usr/bin/python3 tests/support/mail_server.py " + folder_ + " " + tls).c_str(), "r");
    int port = 0;
    if (std::fscanf(server_, "%d", &port) != 1) throw std::runtime_error("the mail server does not start");
    address_ = (tls == "tls" ? "smtps://127.0.0.1:" : "smtp://127.0.0.1:") + std::to_string(port);
  }
  ~MailServer() {
    pclose(server_);
    std::filesystem::remove_all(folder_);
  }

  const std::string& address() const { return address_; }
  std::string authority() const { return folder_ + "/authority.pem"; }
  // Each mail as it came.
  std::vector<std::string> Mails() const {
    std::vector<std::string> mails;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      if (entry.path().extension() == ".mail") mails.push_back(test::ReadFile(entry.path()));
    }
    return mails;
  }

 private:
  std::string folder_, address_;
  std::FILE* server_ = nullptr;
};

class Mails : public test::OnSite {
 protected:
  Mails() {
    Write({"update Student set FirstName='Gda&#324;', LastName='Kay', email='kay@x.example' where StudentID=205"});
  }
  // Enrols somebody with this address.
  void Enrol(const std::string& address) {
    Write({"insert into Student (LastName, email) values ('Z', ", data::Bound(Field(address)), ")"});
    Write(
        {"insert into Participant (ScheduleID, StudentID, PIN) select 56, max(StudentID), max(StudentID) from Student"});
  }
  std::unique_ptr<MailSender> Start(data::Database& of) {
    return std::make_unique<MailSender>(settings, of, log, clock, rhythm);
  }
  std::string States() { return Read({"select State, count(*) from Outbox group by State order by State"}); }
  // Waits for as many rows, as long as a slow disk may need: each mail is flushed to it three times.
  void Await(data::Piece condition, const char* count) {
    for (int i = 0; Read({"select count(*) from Outbox where ", condition}) != count; ++i) {
      ASSERT_LT(i, 2000) << States() << log.text();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  void Finish() { Await("State<4", "0"); }
  wire::HttpResponse Ask(const std::string& what) { return browser.Post(office, "/admin/mail", "event=56&" + what); }
  void Queue(const std::string& kind) { EXPECT_EQ(Ask("send=" + kind).status, 303U); }

  MailServer server;
  MailSettings settings = {.server = server.address(),
                           .sender = "\u00c9cole (surva) <ask@surva.example>",
                           .tls = false,
                           .per_minute = 10'000};
  test::Node office{database.dsn(),
                    ExampleSite(watch, clock, {.public_address = "https://surva.example", .mail = settings})};
  test::KeptLog log;
  MailSender::Rhythm rhythm{
      .look = std::chrono::milliseconds(50), .last_words = std::chrono::seconds(0), .retry = std::chrono::seconds(1)};
};
SURVA_ON_BOTH_ENGINES(Mails);

TEST(Messages, Cases) {
  const auto message = [](const std::vector<std::string>& words) {
    return MailMessage({words.at(1), words.at(2), words.at(3)}, words.at(0), "name", 1'079'528'709);
  };
  test::PlayCases("tests/desk/messages.cases", {.lines = {{"message", message}}});
}

TEST_P(Mails, LeaveOnceAndTellWhatBecameOfThem) {
  for (const char* address :
       {"refused@x.example", "later@x.example", "cut@x.example", "gone@x.example", "", "no one", "a@b\r\nRCPT"}) {
    Enrol(address);
  }
  const auto trial = Ask("try=invitation");
  EXPECT_TRUE(Holds(trial, "5 of 8 would get this invitation.")) << trial.body;
  EXPECT_TRUE(Holds(trial, "Dear Gda\u0144 Kay,"));
  EXPECT_TRUE(Holds(trial, "https://surva.example/fill?PIN=0001"));
  EXPECT_EQ(States(), "");
  Queue("invitation");
  Queue("invitation");  // nobody gets a second one
  EXPECT_EQ(States(), "1,5");
  auto sender = Start(*database);
  Finish();
  sender.reset();
  EXPECT_EQ(States(), "4,3 5,1 6,1");
  EXPECT_EQ(server.Mails().size(), 4U);
  const auto page = Ask("");
  EXPECT_TRUE(Holds(page, "550 5.1.1 No such person &lt;here&gt;")) << page.body;
  EXPECT_TRUE(Holds(page, "perhaps sent"));
  EXPECT_TRUE(Holds(page, "aria-current=\"page\">Mail</a>"));
  Queue("invitation");
  EXPECT_EQ(States(), "1,1 4,3 5,1 6,1");  // only who was refused is tried again
  Write({"update Participant set PIN='' where StudentID=205"});
  Queue("reminder");
  sender = Start(*database);
  Finish();
  EXPECT_EQ(server.Mails().size(), 7U);
  std::string all;
  for (const std::string& mail : server.Mails()) all += mail;
  EXPECT_NE(all.find("From: =?utf-8?B?w4ljb2xlIChzdXJ2YSk=?= <ask@surva.example>\r\nTo: <kay@x.example>\r\n"),
            std::string::npos)
      << all;
  EXPECT_EQ(all.find("RCPT"), std::string::npos);
  // A server that has fallen silent holds nobody up, not even for its farewell.
  Enrol("silent@x.example");
  Queue("invitation");
  Await("State=3", "1");
  const auto begin = std::chrono::steady_clock::now();
  sender.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(1));
  EXPECT_EQ(Read({"select State from Outbox order by OutboxID desc limit 1"}), "6");
}

TEST_P(Mails, OfADeadSenderAreSentByAnother) {
  for (int i = 0; i < 40; ++i) Enrol("slow@" + std::to_string(i) + ".example");
  Queue("invitation");
  const pid_t child = fork();
  if (child == 0) {
    data::Database own(database->dsn());
    const auto sender = Start(own);
    pause();
    _exit(0);
  }
  while (server.Mails().size() < 5) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  // Two nodes at once take over when its claims have run out.
  Write({"update Outbox set ClaimedAt=ClaimedAt-3600"});
  data::Database other(database->dsn());
  const auto first = Start(*database);
  const auto second = Start(other);
  Finish();
  std::set<std::string> names;
  const std::vector<std::string> mails = server.Mails();
  for (const std::string& mail : mails) names.insert(mail.substr(mail.find("Message-ID: "), 60));
  EXPECT_EQ(names.size(), mails.size());
  const std::string doubtful = Read({"select count(*) from Outbox where State=6"});
  EXPECT_TRUE(doubtful == "0" || doubtful == "1") << doubtful;
  EXPECT_EQ(Read({"select count(*) from Outbox where State=4 or State=6"}), "41");
  EXPECT_GE(mails.size(), 40U);
}

TEST_P(Mails, GoByTlsToAServerThatIsWhoItSays) {
  const MailServer by_tls("tls"), by_starttls("starttls");
  settings.account = "surva";
  settings.tls = true;
  Enrol("second@x.example");
  Queue("invitation");
  // Until the server has been left alone: what it says then.
  const auto refused = [&] {
    const auto sender = Start(*database);
    std::string told;
    for (int i = 0; i < 600 && told.empty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      told = Read({"select Told from Outbox where State=1 and Told<>''"});
    }
    Write({"update Outbox set Told=''"});
    return told;
  };
  rhythm.retry = std::chrono::seconds(600);
  settings.password = "pass word";
  EXPECT_NE(refused().find("STARTTLS"), std::string::npos);  // a server without TLS gets no password
  for (const MailServer* secure : {&by_tls, &by_starttls}) {
    settings.server = secure->address();
    settings.authority.clear();
    EXPECT_NE(refused().find("certificate"), std::string::npos) << secure->address();
    settings.authority = secure->authority();
    settings.password = "guessed";
    EXPECT_NE(refused().find("535"), std::string::npos) << secure->address();
    settings.password = "pass word";
    EXPECT_TRUE(secure->Mails().empty());
    EXPECT_EQ(Read({"select State, Attempts from Outbox"}), "1,0 1,0");
    settings.per_minute = 1;
    auto sender = Start(*database);
    for (int i = 0; i < 600 && States() != "1,1 4,1"; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    sender.reset();
    EXPECT_EQ(secure->Mails().size(), 1U);  // the other one waits for its minute
    Write({"update Outbox set State=1, Attempts=0, Told=''"});
    settings.per_minute = 100;
  }
  EXPECT_TRUE(server.Mails().empty());
}

}  // namespace
}  // namespace surva::desk

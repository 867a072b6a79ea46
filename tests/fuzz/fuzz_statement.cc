// Values in statements, on a real engine: no text can become syntax. Each run looks one row up by the visitor's text in
// every kind of place; the statement gives what a comparison in memory gives, or is refused.
#include <filesystem>

#include "frame/data/connection.h"
#include "tests/fuzz/fuzz.h"

namespace surva {
namespace {

// In a file, as every connection to a database in memory would see another one. Nothing is ever committed to it.
data::Database& Scratch() {
  struct Folder {
    std::string name = (std::filesystem::temp_directory_path() / "surva-fuzz-XXXXXX").string();
    Folder() { Require(mkdtemp(name.data()) != nullptr); }
    ~Folder() { std::filesystem::remove_all(name); }
  };
  static const Folder folder;
  static data::Database database("sqlite:" + folder.name + "/fuzz.db");
  static const bool ready = [] {
    database.BringUpToDate();
    return true;
  }();
  (void)ready;
  return database;
}

}  // namespace

void Try(std::string_view bytes) {
  // Values reach the pages decoded from windows-1252, without a NUL.
  const std::string text = FromWindows1252(bytes);
  if (text.find('\0') != std::string::npos || text.size() > 200) return;
  data::Connection db(Scratch());

  MayRefuse([&] {
    const data::Rows rows = db.Query({"select 1 as One where 'Secret'=", data::Text(text), " collate nocase"});
    Require(rows.empty() == (CompareTexts(text, "Secret") != 0));
    Require(text.find('\'') == std::string::npos);
  });
  MayRefuse([&] {
    const data::Rows rows = db.Query({"select 1 as One where 'Secret' like ", data::Pattern(text)});
    Require(rows.empty() != Like("Secret", text));
  });
  MayRefuse([&] { Require(db.Query({"select 1 as One where 1=", data::Number(text)}).size() <= 1); });
  MayRefuse([&] { Require(db.Query({"select CDate(", data::DateText(text), ") as D"}).size() == 1); });
  MayRefuse([&] {
    Require(db.Query({"select count(*) as Messages from Message"}).First()["Messages"].Is(0));
    db.AddNew(data::tables::kMessage).Set("Message", std::string_view(text)).Set("StudentID", std::int64_t{1}).Update();
    Require(db.Query({"select Message from Message order by MessageID desc limit 1"}).First()["Message"].Text() ==
            text);
  });
  MayRefuse([&] { db.AddNew(data::tables::kMark).Set("FieldValueID", std::string_view(text)).Update(); });
}

}  // namespace surva

#include "upkeep/backup.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>

#include "frame/data/engine.h"
#include "frame/data/schema_upgrade.h"
#include "frame/values/fault.h"
#include "upkeep/copy.h"
#include "upkeep/readiness.h"

namespace surva::upkeep {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSqlite = "sqlite:";

struct CloseHandle {
  void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
};
using Handle = std::unique_ptr<sqlite3, CloseHandle>;

std::string Quoted(const fs::path& path) {
  return "\"" + path.string() + "\"";
}

[[noreturn]] void Fail(const fs::path& path) {
  throw Refusal(Quoted(path) + ": " + std::strerror(errno));
}

Handle Open(const fs::path& path, int flags) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened, flags | SQLITE_OPEN_EXRESCODE, nullptr);
  Handle handle(opened);
  if (code != SQLITE_OK) throw Refusal(Quoted(path) + ": " + sqlite3_errstr(code));
  return handle;
}

fs::path FolderOf(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

// A file that is being made, beside the one that it is to become; gone again unless it is kept.
class Draft {
 public:
  explicit Draft(fs::path path) : path_(std::move(path)) {
    const int file = ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0 && errno == EEXIST) {
      throw Refusal(Quoted(path_) + " stands already: another backup is being made, or was cut off; then remove it");
    }
    std::error_code error;
    if (file < 0 && !fs::is_directory(FolderOf(path_), error)) {
      throw Refusal("there is no folder " + Quoted(FolderOf(path_)) + "; make it");
    }
    if (file < 0) Fail(path_);
    ::close(file);
  }
  ~Draft() {
    std::error_code ignored;
    for (const char* ending : {"", "-wal", "-shm", "-journal"}) fs::remove(path_.string() + ending, ignored);
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  const fs::path& path() const { return path_; }
  std::string dsn() const { return std::string(kSqlite) + path_.string(); }

  // One file that stands by itself, and on disk.
  void Finish() {
    {
      const Handle handle = Open(path_, SQLITE_OPEN_READWRITE);
      if (sqlite3_exec(handle.get(), "PRAGMA journal_mode=DELETE", nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw Refusal(Quoted(path_) + ": " + sqlite3_errmsg(handle.get()));
      }
    }
    Sync(path_);
  }

  static void Sync(const fs::path& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || ::fsync(file) != 0) Fail(path);
    ::close(file);
  }

 private:
  fs::path path_;
};

fs::path Beside(const fs::path& file, const std::string& ending) {
  return file.string() + ending;
}

// Page by page, all at once: in the write-ahead log neither reader nor writer waits for the other.
void CopyFile(const fs::path& from, const fs::path& to) {
  const Handle source = Open(from, SQLITE_OPEN_READONLY);
  const Handle target = Open(to, SQLITE_OPEN_READWRITE);
  sqlite3_busy_timeout(source.get(), 10'000);
  sqlite3_backup* backup = sqlite3_backup_init(target.get(), "main", source.get(), "main");
  if (backup != nullptr) {
    sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup);
  }
  if (sqlite3_errcode(target.get()) != SQLITE_OK) {
    throw Refusal(Quoted(from) + " cannot be copied: " + sqlite3_errmsg(target.get()));
  }
}

void RequireWhole(const Draft& draft) {
  data::Database database(draft.dsn());
  const std::unique_ptr<data::Engine> engine = database.Take();
  constexpr data::Piece kCheck[] = {"PRAGMA integrity_check(1)"};
  const std::string found = engine->Run(kCheck, data::Effect::kRead).First()[0].Text();
  if (found != "ok") throw Refusal("the database is damaged (" + found + "); \"surva check\" tells more");
}

}  // namespace

void Backup(data::Database& database, const fs::path& file) try {
  if (file.empty()) throw Refusal("name a file for the backup");
  if (fs::exists(file)) throw Refusal(Quoted(file) + " stands already; give another name");
  Draft draft(Beside(file, ".part"));
  if (database.dialect() == data::Dialect::kSqlite) {
    CopyFile(database.dsn().substr(kSqlite.size()), draft.path());
    data::Database copy(draft.dsn());
    copy.Take()->RunScript("DELETE FROM VisitorSession; DELETE FROM StaffSession");
  } else {
    data::Database copy(draft.dsn());
    copy.BringUpToDate();
    Copy(database, copy);
  }
  RequireWhole(draft);
  draft.Finish();
  // Unlike a rename, a link puts itself in no other file's place.
  if (::link(draft.path().c_str(), file.c_str()) != 0) Fail(file);
  Draft::Sync(FolderOf(file));
} catch (const Fault& fault) {
  throw Refusal("the backup could not be made: " + std::string(fault.what()));
}

namespace {

// Takes the file that is to be replaced away from everybody; nothing if it is no database any more.
Handle TakeOver(const fs::path& path) {
  Handle handle = Open(path, SQLITE_OPEN_READWRITE);
  const int code = sqlite3_exec(handle.get(), "PRAGMA journal_mode=DELETE; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
  if ((code & 0xff) == SQLITE_BUSY || (code & 0xff) == SQLITE_LOCKED) {
    throw Refusal(Quoted(path) + " is in use; stop surva first (systemctl stop surva)");
  }
  return handle;
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &local);
  return text.data();
}

fs::path PutInPlace(Draft& draft, const fs::path& path) {
  struct stat before {};
  const bool stood = ::stat(path.c_str(), &before) == 0;
  Handle taken;
  if (stood) {
    taken = TakeOver(path);
  } else if (::stat(FolderOf(path).c_str(), &before) != 0) {
    Fail(FolderOf(path));
  }
  if (::geteuid() == 0 && ::chown(draft.path().c_str(), before.st_uid, before.st_gid) != 0) Fail(draft.path());
  if (stood && ::chmod(draft.path().c_str(), before.st_mode & 0777U) != 0) Fail(draft.path());
  fs::path kept;
  if (stood) {
    kept = Beside(path, ".before-" + Now());
    if (::link(path.c_str(), kept.c_str()) != 0) Fail(kept);
    // What a damaged file may have left beside it.
    for (const char* ending : {"-wal", "-shm", "-journal"}) {
      std::error_code ignored;
      fs::rename(Beside(path, ending), Beside(kept, ending), ignored);
    }
  }
  fs::rename(draft.path(), path);
  Draft::Sync(FolderOf(path));
  return kept;
}

}  // namespace

fs::path Restore(const fs::path& file, const std::string& dsn) try {
  if (!fs::is_regular_file(file)) throw Refusal(Quoted(file) + " is no file that could be restored");
  const bool to_file = dsn.starts_with(kSqlite);
  const fs::path path = to_file ? fs::path(dsn.substr(kSqlite.size())) : fs::temp_directory_path() / "surva-restore";
  std::error_code error;
  if (to_file && fs::equivalent(file, path, error)) throw Refusal(Quoted(file) + " is the database itself");
  Draft draft(Beside(path, ".part" + std::to_string(::getpid())));
  CopyFile(file, draft.path());
  {
    data::Database copy(draft.dsn());
    if (VersionOf(copy) == 0) throw Refusal(Quoted(file) + " holds no tables of surva");
    copy.BringUpToDate();
    copy.Take()->RunScript("DELETE FROM VisitorSession; DELETE FROM StaffSession");
  }
  RequireWhole(draft);
  draft.Finish();
  if (to_file) return PutInPlace(draft, path);

  const std::unique_ptr<data::Database> to = OpenDatabase(dsn, std::chrono::seconds(0), [](const std::string&) {});
  RequireSuitable(*to);
  to->BringUpToDate();
  data::Database from(draft.dsn());
  Copy(from, *to);
  return {};
} catch (const Fault& fault) {
  throw Refusal("nothing was restored: " + std::string(fault.what()));
} catch (const data::SchemaError& error) {
  throw Refusal("nothing was restored: " + std::string(error.what()));
}

}  // namespace surva::upkeep

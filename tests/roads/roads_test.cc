// Plays every road of tests/roads on both engines, in memory, through sockets and on two nodes in turn: a test for each
// room and way. With SURVA_ROADS=record in the environment, what came out in memory on SQLite is written to the files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

#include "tests/roads/road.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

namespace fs = std::filesystem;

const fs::path kFolder = "tests/roads";

std::string ReadFile(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return std::move(text).str();
}

void WriteFile(const fs::path& file, const std::string& text) {
  if (ReadFile(file) != text) std::ofstream(file, std::ios::binary) << text;
}

std::vector<fs::path> FilesOf(const fs::path& folder, const std::string& extension) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == extension) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// The first lines in which a text is not what it has to be.
std::string FirstDifference(const std::string& told, const std::string& played) {
  std::istringstream a(told);
  std::istringstream b(played);
  std::string difference;
  std::string x;
  std::string y;
  for (int line = 1, shown = 0; shown < 5; ++line) {
    const bool has_x = static_cast<bool>(std::getline(a, x));
    const bool has_y = static_cast<bool>(std::getline(b, y));
    if (!has_x && !has_y) break;
    if (has_x == has_y && x == y) continue;
    ++shown;
    difference += std::to_string(line) + " told:   " + (has_x ? x : "(ends)") + "\n" + std::to_string(line) +
                  " played: " + (has_y ? y : "(ends)") + "\n";
  }
  return difference;
}

class Roads : public ::testing::Test {
 public:
  Roads(std::string room, std::string way, data::Dialect engine)
      : room_(std::move(room)), way_(std::move(way)), engine_(engine) {}

  void TestBody() override {
    TestDatabase database(engine_);
    const char* const mode = std::getenv("SURVA_ROADS");
    const bool records =
        mode != nullptr && std::string(mode) == "record" && way_ == "memory" && engine_ == data::Dialect::kSqlite;
    const std::vector<fs::path> files = FilesOf(kFolder / room_, ".road");
    EXPECT_FALSE(files.empty()) << "no road in " << room_;
    for (const fs::path& file : files) {
      LoadFixture(*database);
      StillClock clock;
      const auto way = MakeWay(way_, database.dsn(), clock);
      const std::string told = ReadFile(file);
      try {
        const Played played = Play(told, *way, clock, *database);
        if (records) {
          WriteFile(file, played.text);
          for (const auto& [name, page] : played.pages) WriteFile(PageOf(name), page);
        }
        if (const char* const folder = std::getenv("SURVA_ROADS_PAGES")) {
          for (std::size_t number = 0; number < played.all.size(); ++number) {
            WriteFile(
                fs::path(folder) / (room_ + "-" + file.stem().string() + "-" + std::to_string(number + 1) + ".html"),
                played.all[number]);
          }
        }
        EXPECT_TRUE(records || played.text == told) << file.string() << "\n" << FirstDifference(told, played.text);
        for (const auto& [name, page] : played.pages) {
          const std::string known = ReadFile(PageOf(name));
          EXPECT_TRUE(known == page) << file.string() << ", page " << name << "\n" << FirstDifference(known, page);
        }
      } catch (const std::exception& failure) {
        ADD_FAILURE() << file.string() << ": " << failure.what();
      }
    }
  }

 private:
  static fs::path PageOf(const std::string& name) { return kFolder / "pages" / (name + ".html"); }

  const std::string room_;
  const std::string way_;
  const data::Dialect engine_;
};

void RegisterRoads() {
  struct Kind {
    const char* way;
    const char* engine_name;
    data::Dialect engine;
  };
  constexpr Kind kKinds[] = {{"memory", "sqlite", data::Dialect::kSqlite},
                             {"memory", "postgres", data::Dialect::kPostgres},
                             {"sockets", "sqlite", data::Dialect::kSqlite},
                             {"nodes", "postgres", data::Dialect::kPostgres}};
  for (const char* room : {"filling", "design", "scheduling", "records", "reporting", "desk"}) {
    for (const Kind& kind : kKinds) {
      ::testing::RegisterTest(room, (std::string(kind.way) + "_" + kind.engine_name).c_str(), nullptr, nullptr,
                              __FILE__, __LINE__,
                              [room, kind]() -> Roads* { return new Roads(room, kind.way, kind.engine); });
    }
  }
}

}  // namespace
}  // namespace surva::test

int main(int argc, char** argv) {
  // No road asks whether a flush has reached a disk.
  if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
  surva::test::RegisterRoads();
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

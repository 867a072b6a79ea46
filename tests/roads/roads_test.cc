// Plays every road of tests/roads on both engines, in memory, through sockets and on two nodes in turn: a test for each
// room and way. With SURVA_ROADS=record in the environment, what came out in memory on SQLite is written to the files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "tests/roads/roads.h"
#include "tests/support/fixture.h"
#include "tests/support/recorded.h"

namespace surva::test {
namespace {

namespace fs = std::filesystem;

const fs::path kFolder = "tests/roads";

class Roads : public ::testing::Test {
 public:
  Roads(const char* room, const char* way, data::Dialect engine) : room_(room), way_(way), engine_(engine) {}

  void TestBody() override {
    TestDatabase database(engine_);
    const bool records = IsRecording() && way_ == "memory" && engine_ == data::Dialect::kSqlite;
    const std::set<fs::path> files(fs::directory_iterator(kFolder / room_), {});
    EXPECT_FALSE(files.empty()) << "no road in " << room_;
    for (const fs::path& file : files) {
      LoadFixture(*database);
      try {
        const Played played = Play(ReadFile(file), way_, *database);
        if (const char* const folder = std::getenv("SURVA_ROADS_PAGES")) {
          const std::string name = std::string(folder) + "/" + room_ + "-" + file.stem().string() + "-";
          for (std::size_t i = 0; i < played.all.size(); ++i) {
            WriteFile(name + std::to_string(i + 1) + ".html", played.all[i]);
          }
        }
        ExpectFile(file, played.text, records);
        for (const auto& [name, page] : played.pages) {
          ExpectFile(kFolder / "pages" / (name + ".html"), page, records);
        }
      } catch (const std::exception& failure) {
        ADD_FAILURE() << file.string() << ": " << failure.what();
      }
    }
  }

 private:
  const std::string room_;
  const std::string way_;
  const data::Dialect engine_;
};

void RegisterRoads() {
  constexpr std::pair<const char*, data::Dialect> kKinds[] = {{"memory", data::Dialect::kSqlite},
                                                              {"memory", data::Dialect::kPostgres},
                                                              {"sockets", data::Dialect::kSqlite},
                                                              {"nodes", data::Dialect::kPostgres}};
  for (const char* room : {"filling", "design", "scheduling", "records", "reporting", "desk", "guard"}) {
    for (const auto& [way, engine] : kKinds) {
      const std::string name = std::string(way) + (engine == data::Dialect::kSqlite ? "_sqlite" : "_postgres");
      ::testing::RegisterTest(room, name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [=]() -> Roads* { return new Roads(room, way, engine); });
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

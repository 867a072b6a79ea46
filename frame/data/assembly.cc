#include "frame/data/assembly.h"

namespace surva::data {
namespace {

// PostgreSQL learns a text's type from what it is compared with; numbers and dates say theirs, so that a key is
// looked up as a number also where the visitor's was not whole. The columns sort by code points, a collation that knows
// the two cases of ASCII letters only; a pattern brings the database's own, which knows all.
std::string_view Cast(Piece::Kind kind) {
  switch (kind) {
    case Piece::Kind::kWhole:
      return "::bigint";
    case Piece::Kind::kReal:
      return "::float8";
    case Piece::Kind::kPattern:
      return "::text COLLATE \"default\"";
    case Piece::Kind::kDate:
      return "::timestamp";
    default:
      return "";
  }
}

}  // namespace

void Assemble(Statement statement, Dialect dialect, std::string& sql, std::vector<const Piece*>& values) {
  sql.clear();
  values.clear();
  for (const Piece& piece : statement) {
    switch (piece.kind()) {
      case Piece::Kind::kLiteral:
        sql += piece.text();
        break;
      case Piece::Kind::kNull:
        sql += "NULL";
        break;
      default:
        values.push_back(&piece);
        if (dialect == Dialect::kSqlite) {
          sql += '?';
        } else {
          sql += '$';
          sql += std::to_string(values.size());
          sql += Cast(piece.kind());
        }
    }
  }
}

}  // namespace surva::data

// What is wrong with the files of a certificate and its key, said before a server starts with them.
#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace surva::wire {

struct TlsFinding {
  bool fatal;  // browsers will not come in, or the server will not start
  std::string what;
  std::string remedy;
};

// The certificate's file holds the server's own first, then each one's issuer. `names` are those under which visitors
// come; none if any will do.
std::vector<TlsFinding> CheckTlsFiles(const std::string& certificate, const std::string& key,
                                      const std::vector<std::string>& names, std::time_t now);

}  // namespace surva::wire

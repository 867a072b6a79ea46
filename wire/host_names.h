// The names that the server answers to. A page of a stranger can let its own name stand for this server's address
// ("DNS rebinding") and read what it gets; under a name that is not the server's it gets nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace surva::wire {

class HostNames {
 public:
  // Names without a port. With none, a server whose every address is on the loopback interface answers to localhost and
  // to loopback addresses, another to any name. Throws a std::invalid_argument that quotes the first that is no name.
  HostNames(const std::vector<std::string>& names, bool only_loopback);

  // As ReadHost gives it.
  bool Contain(std::string_view name) const;
  bool any() const { return any_; }
  // The name for who tells none, as HTTP/1.0 lets him.
  const std::string& first() const { return names_.front(); }

 private:
  std::vector<std::string> names_;
  bool any_ = false;
  bool loopback_ = false;
};

}  // namespace surva::wire

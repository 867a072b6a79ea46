// TLS as the server speaks it: 1.2 and 1.3, only with ephemeral elliptic-curve keys and authenticated encryption.
#pragma once

#include <boost/asio/ssl/context.hpp>
#include <string>

namespace surva::wire {

// Of PEM files. Throws a std::runtime_error that names the one that will not do.
boost::asio::ssl::context MakeTlsContext(const std::string& certificate, const std::string& key);

}  // namespace surva::wire

#include "wire/tls.h"

#include <openssl/ssl.h>

#include <stdexcept>

namespace surva::wire {

namespace {

namespace ssl = boost::asio::ssl;

}  // namespace

ssl::context MakeTlsContext(const std::string& certificate, const std::string& key) {
  ssl::context tls(ssl::context::tls_server);
  SSL_CTX* const context = tls.native_handle();
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_NO_COMPRESSION);
  SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
  // Of TLS 1.2; those of 1.3 are all of this kind, but for the key exchange, which the groups say.
  if (SSL_CTX_set_cipher_list(context, "ECDHE+AESGCM:ECDHE+CHACHA20") != 1 ||
      SSL_CTX_set1_groups_list(context, "X25519:P-256:P-384") != 1) {
    throw std::runtime_error("the TLS library lacks the ciphers that are wanted");
  }
  // Nobody is there to be asked for the password of a key.
  tls.set_password_callback([](std::size_t, ssl::context::password_purpose) { return std::string(); });
  boost::system::error_code error;
  tls.use_certificate_chain_file(certificate, error);
  if (error) throw std::runtime_error("cannot read the TLS certificate " + certificate + ": " + error.message());
  tls.use_private_key_file(key, ssl::context::pem, error);
  if (error) throw std::runtime_error("cannot read the TLS key " + key + ": " + error.message());
  return tls;
}

}  // namespace surva::wire

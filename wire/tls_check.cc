#include "wire/tls_check.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace surva::wire {
namespace {

constexpr int kSoonDays = 14;

template <auto kFree>
struct Free {
  template <class Thing>
  void operator()(Thing* thing) const {
    kFree(thing);
  }
};
using File = std::unique_ptr<BIO, Free<BIO_free_all>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;

// Nobody is there to be asked for a password.
int NoPassword(char*, int, int, void* asked) {
  *static_cast<bool*>(asked) = true;
  return -1;
}

class Look {
 public:
  explicit Look(std::time_t now) : now_(now) {}

  std::vector<TlsFinding> At(const std::string& certificate, const std::string& key,
                             const std::vector<std::string>& names) {
    const std::vector<Certificate> chain = ReadChain(certificate);
    const Key own = ReadKey(key);
    if (!chain.empty()) {
      X509& server = *chain.front();
      if (own && X509_check_private_key(&server, own.get()) != 1) {
        bool another = false;
        for (const Certificate& other : chain) another = another || X509_check_private_key(other.get(), own.get()) == 1;
        Add(true, key + " is not the key of the first certificate in " + certificate,
            another ? "put the server's certificate in front of its issuers'" : "name the files of one pair");
      }
      CheckOrder(certificate, chain);
      CheckTimes(certificate, chain);
      for (const std::string& name : names) {
        if (X509_check_host(&server, name.data(), name.size(), 0, nullptr) != 1 &&
            X509_check_ip_asc(&server, name.c_str(), 0) != 1) {
          Add(false, certificate + " does not hold the name " + name + " (hostname)", "have it made out for that name");
        }
      }
    }
    ERR_clear_error();
    return std::move(findings_);
  }

 private:
  void Add(bool fatal, std::string what, std::string remedy) {
    findings_.push_back({fatal, std::move(what), std::move(remedy)});
  }

  File Open(const std::string& path) {
    errno = 0;
    File file(BIO_new_file(path.c_str(), "r"));
    if (!file) Add(true, path + " cannot be read: " + std::strerror(errno), "see its path, owner and mode");
    return file;
  }

  std::vector<Certificate> ReadChain(const std::string& path) {
    std::vector<Certificate> chain;
    const File file = Open(path);
    if (!file) return chain;
    while (X509* next = PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr)) chain.emplace_back(next);
    if (chain.empty()) Add(true, path + " holds no certificate in PEM form", "name the file of the certificate chain");
    return chain;
  }

  Key ReadKey(const std::string& path) {
    const File file = Open(path);
    if (!file) return nullptr;
    bool asked = false;
    Key key(PEM_read_bio_PrivateKey(file.get(), nullptr, NoPassword, &asked));
    if (asked) {
      Add(true, path + " is locked by a password", "take it off (openssl pkey), and keep the file for its owner alone");
    } else if (!key) {
      Add(true, path + " holds no private key in PEM form", "name the file of the certificate's key");
    }
    return key;
  }

  void CheckOrder(const std::string& path, const std::vector<Certificate>& chain) {
    for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
      if (X509_check_issued(chain[i + 1].get(), chain[i].get()) == X509_V_OK) continue;
      Add(true, path + ": certificate " + std::to_string(i + 2) + " is not the issuer of the one in front of it",
          "put the server's certificate first, then each one's issuer");
      return;
    }
  }

  void CheckTimes(const std::string& path, const std::vector<Certificate>& chain) {
    std::time_t soon = now_ + std::time_t{kSoonDays} * 24 * 60 * 60;
    for (const Certificate& certificate : chain) {
      if (X509_cmp_time(X509_get0_notAfter(certificate.get()), &now_) < 0) {
        return Add(true, path + " has expired", "renew it");
      }
      if (X509_cmp_time(X509_get0_notBefore(certificate.get()), &now_) > 0) {
        return Add(true, path + " does not hold yet", "see this machine's clock");
      }
      if (X509_cmp_time(X509_get0_notAfter(certificate.get()), &soon) < 0) {
        return Add(false, path + " expires within " + std::to_string(kSoonDays) + " days", "renew it");
      }
    }
  }

  std::time_t now_;
  std::vector<TlsFinding> findings_;
};

}  // namespace

std::vector<TlsFinding> CheckTlsFiles(const std::string& certificate, const std::string& key,
                                      const std::vector<std::string>& names, std::time_t now) {
  return Look(now).At(certificate, key, names);
}

}  // namespace surva::wire

// What the owner of an installation settles for the pages of our own.
#pragma once

#include <cstddef>
#include <string>

namespace surva::desk {

struct MailSettings {
  std::string server;  // smtp://HOST:PORT or smtps://HOST:PORT; empty: no mail is sent
  std::string sender;  // an address, or "Name <address>"
  std::string account, password;
  std::string authority;  // file of the certificates that vouch for the server; empty: those that the machine knows
  bool tls = true;        // whether the server must speak it
  std::size_t per_minute = 60;
};

struct Settings {
  // The site as strangers reach it, without a slash at its end; empty: as the request names it.
  std::string public_address;
  // What respondents are told of who reads their answers.
  std::string readers;
  // An analyst sees no average of fewer answers of named forms.
  std::size_t least_answers = 5;
  // What a request may bring, in bytes.
  std::size_t longest_body = 1024 * 1024;
  MailSettings mail;
};

}  // namespace surva::desk

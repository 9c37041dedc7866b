// How the site's mail server wants to be talked to: encryption and a login.  It is good for that server
// alone: an alert may name any server, and an operator's must not be handed the site's password.  Values; any
// thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace korvane::receiver {

enum class MailTls {
  None,
  StartTls,  // on the plain port, and nothing without it
  Tls        // from the first octet (RFC 8314)
};

// "starttls", "tls"; "none" or an empty text: none.  Nothing for any other.
std::optional<MailTls> MailTlsOf(std::string_view text);

struct MailAccess {
  std::string Server = "localhost";  // host or host:port, as KVSmtpServer names it
  MailTls Tls = MailTls::None;
  std::string User;                    // empty: no login
  std::filesystem::path PasswordFile;  // its first line
  std::filesystem::path CaFile;        // empty: the system's authorities
  std::string Problem = {};            // of these values: no mail goes to the server while there is one
};

struct MailServer {
  std::string Url;                     // of libcurl: "smtp://host:port", "smtps://host:port"
  const MailAccess* Access = nullptr;  // nothing: plain, without a login
};
// The server that an alert names; nothing when the text names none.
std::optional<MailServer> MailServerOf(std::string_view server, const MailAccess& access);

struct MailPassword {
  std::string Text;
  std::string Problem;  // empty: the text is the password
};
// Refuses a file that its group or others may read or write, or that belongs neither to this user nor to
// root. No text of the file is ever part of a problem.
MailPassword ReadMailPassword(const std::filesystem::path& file);

// What keeps mails from the site's server, as far as it shows on this machine; empty: nothing.
std::string MailAccessProblem(const MailAccess& access);

}  // namespace korvane::receiver

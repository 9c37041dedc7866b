#include "receiver/alerts/MailAction.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <utility>

#include "common/Text.h"
#include "receiver/clock/UtcText.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kEncodedWordBytes = 39;  // of the text in one encoded word: 52 letters of base64
constexpr std::size_t kBodyLineBytes = 57;     // 76 letters

std::string Base64(std::string_view bytes) {
  constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t length = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (k < length ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text.push_back(k <= length ? kLetters[group >> (18 - 6 * k) & 63U] : '=');
    }
  }
  return text;
}

bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// Of at most so many bytes, never in the middle of a character.
std::string_view Piece(std::string_view text, std::size_t most) {
  std::size_t end = std::min(most, text.size());
  while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
    --end;
  }
  return text.substr(0, end);
}

// As RFC 2047 wants what is not plain; no line of it can be ended by its text.
std::string HeaderText(std::string_view text) {
  std::string visible = VisibleText(text);
  if (IsPlain(visible) && visible.size() <= 60) {
    return visible;
  }
  std::string encoded;
  for (std::string_view rest = visible; !rest.empty();) {
    const std::string_view piece = Piece(rest, kEncodedWordBytes);
    encoded += (encoded.empty() ? "=?UTF-8?B?" : "\r\n =?UTF-8?B?") + Base64(piece) + "?=";
    rest.remove_prefix(piece.size());
  }
  return encoded;
}

std::string MessageId() {
  static thread_local std::mt19937_64 random{std::random_device{}()};
  return fmt::format("<{:016x}{:016x}@korvane.invalid>", random(), random());
}

std::string Joined(const std::vector<std::string>& addresses) {
  std::string text;
  for (const std::string& address : addresses) {
    text += (text.empty() ? "" : ",\r\n ") + address;
  }
  return text;
}

// RFC 2156, section 5.3.4, and what mail programs made of it.
struct Urgency {
  std::string_view Importance;
  int Priority;
};
Urgency UrgencyOf(std::int32_t severity) {
  switch (severity) {
    case 5:  // Critical
    case 3:  // Major
      return {"high", 1};
    case 2:  // Information
      return {"low", 5};
    default:
      return {"normal", 3};
  }
}

struct Upload {
  std::string Message;
  std::size_t Sent = 0;
};

std::size_t ReadMessage(char* buffer, std::size_t size, std::size_t count, void* upload) {
  auto& from = *static_cast<Upload*>(upload);
  const std::size_t bytes = from.Message.copy(buffer, size * count, from.Sent);
  from.Sent += bytes;
  return bytes;
}

int EndWhenStopped(void* stop, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return static_cast<const std::stop_token*>(stop)->stop_requested() ? 1 : 0;
}

void StartLibrary() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

using Transfer = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using Recipients = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

// Empty, or why the server can't be used as the site wants it.
std::string UseAccess(CURL* curl, const MailAccess& access) {
  if (!access.Problem.empty()) {
    return access.Problem;
  }
  if (access.Tls != MailTls::None) {
    curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!access.CaFile.empty()) {
      curl_easy_setopt(curl, CURLOPT_CAINFO, access.CaFile.c_str());
    }
  }
  if (access.User.empty()) {
    return {};
  }
  const MailPassword password = ReadMailPassword(access.PasswordFile);
  curl_easy_setopt(curl, CURLOPT_USERNAME, access.User.c_str());
  curl_easy_setopt(curl, CURLOPT_PASSWORD, password.Text.c_str());
  return password.Problem;
}

// stop must outlive the transfer.
void BoundInTime(CURL* curl, const MailTimes& times, const std::stop_token& stop) {
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(times.Connect.count()));
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(times.Whole.count()));
  // The time for the whole does not bound the goodbye to a server that is silent; it would wait two minutes.
  curl_easy_setopt(curl, CURLOPT_FTP_RESPONSE_TIMEOUT, static_cast<long>(times.Whole.count()));
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, EndWhenStopped);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, const_cast<std::stop_token*>(&stop));
}

}  // namespace

MailAction::MailAction(MailAccess access, MailTimes times) : access_(std::move(access)), times_(times) {
  StartLibrary();
}

std::vector<std::string> MailAddresses(std::string_view list) {
  constexpr std::string_view kSeparators = ",; \t\r\n";
  std::vector<std::string> addresses;
  while (!list.empty()) {
    const std::string_view address = list.substr(0, list.find_first_of(kSeparators));
    list.remove_prefix(std::min(list.size(), address.size() + 1));
    if (!address.empty() && address.find_first_of("<>()\\\"") == std::string_view::npos && IsPlain(address)) {
      addresses.emplace_back(address);
    }
  }
  return addresses;
}

std::string MailMessage(const AlertFiring& firing, std::int64_t time) {
  const AlertMail& mail = *firing.Rule->Mail;
  const std::vector<std::string> from = MailAddresses(mail.From);
  std::string subject = mail.Subject;
  const Urgency urgency = UrgencyOf(firing.Severity);
  subject += (subject.empty() ? "" : ": ") + AlertLine(firing);
  std::string message = fmt::format(
      "Date: {}\r\n"
      "From: {}\r\n"
      "To: {}\r\n"
      "Message-ID: {}\r\n"
      "Subject: {}\r\n"
      "Importance: {}\r\n"
      "X-Priority: {}\r\n"
      "Auto-Submitted: auto-generated\r\n"
      "MIME-Version: 1.0\r\n"
      "Content-Type: text/plain; charset=UTF-8\r\n"
      "Content-Transfer-Encoding: base64\r\n"
      "\r\n",
      Rfc5322Text(time), from.empty() ? "" : from.front(), Joined(MailAddresses(mail.To)), MessageId(),
      HeaderText(subject), urgency.Importance, urgency.Priority);
  std::string body;
  for (const char c : AlertText(firing)) {
    body.append(c == '\n' ? "\r\n" : std::string(1, c));
  }
  for (std::size_t at = 0; at < body.size(); at += kBodyLineBytes) {
    message += Base64(std::string_view(body).substr(at, kBodyLineBytes)) + "\r\n";
  }
  return message;
}

std::string MailAction::Carry(const AlertFiring& firing, const std::stop_token& stop) {
  const AlertMail& mail = *firing.Rule->Mail;
  const std::optional<MailServer> server = MailServerOf(mail.Server, access_);
  const std::vector<std::string> from = MailAddresses(mail.From);
  const std::vector<std::string> to = MailAddresses(mail.To);
  if (!server) {
    return fmt::format("'{}' names no mail server", mail.Server);
  }
  if (from.size() != 1 || to.empty()) {
    return fmt::format("'{}' and '{}' are no addresses for a mail", mail.From, mail.To);
  }
  const Transfer transfer(curl_easy_init(), curl_easy_cleanup);
  Recipients recipients(nullptr, curl_slist_free_all);
  for (const std::string& address : to) {
    recipients.reset(curl_slist_append(recipients.release(), address.c_str()));
  }
  Upload upload{.Message = MailMessage(firing, std::time(nullptr))};
  std::array<char, CURL_ERROR_SIZE> reason{};
  CURL* curl = transfer.get();
  curl_easy_setopt(curl, CURLOPT_URL, server->Url.c_str());
  curl_easy_setopt(curl, CURLOPT_MAIL_FROM, from.front().c_str());
  curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, recipients.get());
  curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(curl, CURLOPT_READFUNCTION, ReadMessage);
  curl_easy_setopt(curl, CURLOPT_READDATA, &upload);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, reason.data());
  if (server->Access != nullptr) {
    if (std::string problem = UseAccess(curl, *server->Access); !problem.empty()) {
      return problem;
    }
  }
  BoundInTime(curl, times_, stop);
  const CURLcode result = curl_easy_perform(curl);
  if (result == CURLE_OK) {
    return {};
  }
  return fmt::format("{}: {}", server->Url, reason[0] != '\0' ? reason.data() : curl_easy_strerror(result));
}

}  // namespace korvane::receiver

// Lines of a CSV file as RFC 4180 has them, cell by cell, in one buffer that is used again for every line.
// Texts stand in quotes, numbers and what this program writes itself do not.
//
// Spreadsheets run what looks like a formula, and the texts come from the network.  A text gets an apostrophe
// where a cell may begin with "=", "+", "-", "@" (or their full-width forms), also behind blanks and quotes,
// or with a TAB or line break; a cell may begin inside a text too, since spreadsheets of many countries part
// cells at ";" and then know nothing of our quotes.  Control characters, text direction marks and broken
// UTF-8 stand as visible symbols.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace korvane::traplist {

class CsvLine {
 public:
  void AddText(std::string_view text);        // on one line, whatever it holds
  void AddParagraphs(std::string_view text);  // its line breaks stay, as line feeds
  void AddOwn(std::string_view text);         // as it is: what needs no quotes, or cells that were taken
  void AddNumber(std::int64_t number);

  // The cells added so far, without the end of a line; what is added next begins anew.
  std::string Take() { return std::exchange(line_, {}); }

  // The whole line with its CR LF, until the next cell is added; that one begins the next line.
  std::string_view End();

 private:
  void BeginCell();
  void AppendDefused(std::string_view shown, bool beginsWithControl);

  std::string line_;
  std::string shown_;  // a text that is not plain, on its way into the line
  bool ended_ = false;
};

}  // namespace korvane::traplist

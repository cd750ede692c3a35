// What a run says: the status line, messages, and the run log that keeps the messages. The console
// is a serial line: what happens now stands in its last line, the status line, drawn over in place
// with carriage returns, and messages scroll above it. Knows no packages; these report through it.
//   repo/console.cpp   status, progress, messages
//   repo/log.cpp       the run log
#pragma once

#include <cstdarg>
#include <list>
#include <string>

class ipackstream;

// To standard output at once, past the run log and past quiet mode.
void print(const char* text);

class Reporter {
 public:
  // The one of the run, which is its Repo (repo/repo.cpp).
  static Reporter* getReporter();

  void setStatus(const std::string& text);
  // Label and bar for how far the stream has been read.
  void showProgress(const ipackstream& in, const std::string& label);
  // One console line and one line of the run log each, unless quiet. The formatted text is cut at
  // 255 characters. log() and error() clear the status line; a warning leaves it standing below
  // itself.
  void log(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void warn(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void error(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Saves the messages of this run, when there is anything to save.
  void writeLog();
  // Takes the old log's lines over behind the messages so far, and reserves room for the new one on
  // flash.
  void takeOverLog();

 protected:
  Reporter() = default;
  ~Reporter() = default;

  std::string status;               // what the status line shows
  std::list<std::string> logLines;  // messages of this run and lines taken over
  bool quiet = false;

 private:
  friend class RepoAccess;  // tests

  void report(const char* prefix, const char* format, va_list arguments)
      __attribute__((format(printf, 3, 0)));

  bool postlogLoaded = false;  // the old log was taken over: writeLog() writes the file anew
};

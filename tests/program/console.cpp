#include "tests/program/console.h"

#include <algorithm>

namespace {

constexpr char kHide[] = "\x1b[?25l";
constexpr char kShow[] = "\x1b[?25h";

// What stands behind the description of a package.
bool isContents(std::uint32_t type) {
  return type == kPartImage || type == kPartOnInstall || type == kPartOnUninstall ||
         type == kPartArchive || type == kPartSignature;
}

}  // namespace

Console& Console::line(const std::string& text) {
  bytes_ += text + "\n";
  return *this;
}

Console& Console::status(const std::string& text) {
  if (text == status_) return *this;
  const std::size_t rest = std::max(status_.size(), text.size()) - text.size();
  bytes_ += kHide + ("\r" + text) + std::string(rest, ' ') + "\r" + kShow;
  status_ = text;
  return *this;
}

Console& Console::bar(const std::string& label, std::uint64_t position, std::uint64_t total) {
  const std::string start = label + " [";
  const std::size_t width = 76 - start.size();
  const std::size_t filled = static_cast<std::size_t>(position * width / total);
  return status(start + std::string(filled, '#') + std::string(width - filled, ' ') + "]");
}

Console& Console::message(const std::string& text) {
  if (!status_.empty()) bytes_ += "\r" + std::string(79, ' ') + "\r";
  bytes_ += text + "\n" + status_;
  messages_ += text + "\n";
  return *this;
}

Console& Console::log(const std::string& text) { return status("").message(text); }

Console& Console::warning(const std::string& text) { return message("WARNING: " + text); }

Console& Console::error(const std::string& text) { return status("").message("ERROR: " + text); }

Console& Console::verified(const std::string& name, const std::string& bytes) {
  const std::string label = "verifying " + name;
  status(label);
  for (const PartAt& part : partsOf(bytes)) {
    if (part.type != kPartArchive && part.type != kPartImage) continue;
    for (std::size_t done = 0; done < part.size;) {
      done = std::min<std::size_t>(done + 4096, part.size);
      bar(label, part.offset + done, bytes.size());
    }
  }
  return status("").log("verified " + name);
}

Console& Console::installing(const std::string& fullName, const std::string& bytes,
                             unsigned which) {
  const std::string label = "installing " + fullName;
  unsigned headers = 0;
  bool first = true;
  for (const PartAt& part : partsOf(bytes)) {
    if (part.type == kPartPackage) ++headers;
    if (headers != which + 1 || !isContents(part.type)) continue;
    if (first) bar(label, part.offset, bytes.size());
    first = false;
    if (part.type == kPartArchive) bar(label, part.offset + part.size, bytes.size());
  }
  return *this;
}

Console& Console::installed(const std::string& fullName, const std::string& bytes) {
  return installing(fullName, bytes).log("installed " + fullName);
}

Console& Console::bundleInstalled(const std::string& fullName) {
  return status(std::string(78, ' ')).log("installed " + fullName);
}

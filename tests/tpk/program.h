// The program itself, run in a temp folder of its own.
#pragma once

#include "tests/support/process.h"
#include "tests/support/tree.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

class TpkProgram : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }

  // In the temp folder.
  ProcessResult run(const std::vector<std::string>& arguments,
                    const std::string& input = std::string()) const {
    Command command;
    command.words = {TPK_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    command.input = input;
    command.folder = temp_.path();
    return Process(command).wait(std::chrono::seconds(15));
  }

  void writePackage(const std::string& name) const {
    writeFile(path(name + "/package.toml"),
              "name = \"" + name + "\"\nversion = \"3.22\"\nfiles = \"root\"\n");
    writeFile(path(name + "/root/etc/" + name), name);
  }

  TempFolder temp_;
};

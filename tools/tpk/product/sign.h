// Signatures of package files that are there already.
#pragma once

#include <string>

class InputFile;
class Signer;

// Writes the package file once more, to the file out, without its signatures; with a signer every
// package gets a new one, behind everything else that it has. All else keeps its bytes and its
// order: parts that nobody knows, and what is too little for a part behind the last one. Throws
// Failure, also for what is no package file.
void rewriteSignatures(const InputFile& in, const Signer* signer, const std::string& out);

// Writes over the records in a file in which every package has a signature part with room for one.
// Throws Failure.
void signPackages(const std::string& file, const Signer& signer);

// Which packages of a file are genuine, in one pass over its bytes.
#pragma once

class ipackstream;

// Told after every read of package contents that got bytes.
class PackObserver {
 public:
  virtual void onRead(ipackstream& in) = 0;

 protected:
  ~PackObserver() = default;
};

// Reads a package file to its end, from its first part on: true when it holds one package, or a
// bundle header and one package or more, and each of them is genuine. in must be hashing;
// verifyPackages says which parts it accepts.
[[nodiscard]] bool verifyPackages(ipackstream& in, PackObserver& observer);

// The acceptance of one package, with the stream behind its contents: by its signature part when
// that is current (and steps over it), otherwise by its digest.
[[nodiscard]] bool packageIsGenuine(ipackstream& in);

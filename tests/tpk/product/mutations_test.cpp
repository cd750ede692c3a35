// Damaged packages by the thousand: what tpk says of each is what the installer decides, and for
// every refusal there is a reason.
#include "model/packagefile.h"
#include "repo/repo.h"
#include "tests/support/packbuilder.h"
#include "tests/support/privilege.h"
#include "tests/support/process.h"
#include "tests/support/random.h"
#include "tests/support/repoaccess.h"
#include "tests/support/router.h"
#include "tests/support/tree.h"
#include "tests/support/vectors.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/product/sign.h"
#include "tools/tpk/product/signer.h"
#include "tools/tpk/read/diagnosis.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr int kMutations = 2000;
constexpr std::size_t kSample = 50;

// Product data of the vectors, in use, with the key that signs for them.
class VectorProduct {
 public:
  explicit VectorProduct(const std::string& set)
      : inUse_(set), folder_(std::string(TEST_DATA_DIR) + "/vectors/product-" + set) {
    SigningKey key;
    readSigningKey(folder_, key);
    signer_ = std::make_unique<Signer>(inUse_.data(), key);
  }
  const Signer& signer() const { return *signer_; }
  const std::string& folder() const { return folder_; }

 private:
  ProductInUse inUse_;
  std::string folder_;
  std::unique_ptr<Signer> signer_;
};

std::vector<std::string> packagesOf(const std::string& set) {
  std::vector<std::string> packages;
  for (const VectorVerdict& verdict : vectorVerdicts())
    if (verdict.set == set) packages.push_back(vectorPackage(verdict.package));
  return packages;
}

// Offsets of the headers of the parts, and of the end.
std::vector<std::size_t> partsOf(const std::string& bytes) {
  std::vector<std::size_t> places;
  std::size_t place = FileHeader::kSize;
  while (place <= bytes.size() && bytes.size() - place >= PartHeader::kSize) {
    places.push_back(place);
    const auto* header = reinterpret_cast<const unsigned char*>(bytes.data()) + place;
    place += PartHeader::kSize + get32(header + PartHeader::kLength);
  }
  places.push_back(std::min(place, bytes.size()));
  return places;
}

class Mutator {
 public:
  explicit Mutator(TestRandom& random) : random_(random) {}

  std::string mutate(std::string bytes) {
    for (std::uint64_t left = 1 + random_.below(2); left > 0; --left) mutateOnce(bytes);
    if (bytes.size() >= FileHeader::kSize && random_.below(2) == 0) mendLength(bytes);
    return bytes;
  }

 private:
  void mutateOnce(std::string& bytes) {
    switch (random_.below(8)) {
      case 0:
        return flip(bytes);
      case 1:
        return bytes.resize(place(bytes));
      case 2:
        bytes.insert(place(bytes), random_.bytes(1 + random_.below(10)));
        return;
      case 3:
        bytes.erase(place(bytes), 1 + random_.below(10));
        return;
      case 4:
        return swapParts(bytes);
      case 5:
        return changeLength(bytes);
      case 6:
        return changeType(bytes);
      default:
        return insertPart(bytes);
    }
  }

  std::size_t place(const std::string& bytes) { return random_.below(bytes.size() + 1); }

  void flip(std::string& bytes) {
    if (bytes.empty()) return;
    char& byte = bytes[random_.below(bytes.size())];
    byte = static_cast<char>(static_cast<unsigned char>(byte) ^ 1U << random_.below(8));
  }

  // Of one part; false when there is none.
  bool anyPart(const std::string& bytes, std::size_t& begin, std::size_t& end) {
    const std::vector<std::size_t> places = partsOf(bytes);
    if (bytes.size() < FileHeader::kSize || places.size() < 2) return false;
    const std::size_t index = random_.below(places.size() - 1);
    begin = places[index];
    end = places[index + 1];
    return true;
  }

  void swapParts(std::string& bytes) {
    std::size_t begin = 0, end = 0;
    if (!anyPart(bytes, begin, end)) return;
    const std::string part = bytes.substr(begin, end - begin);
    bytes.erase(begin, end - begin);
    if (anyPart(bytes, begin, end)) bytes.insert(begin, part);
  }

  void changeLength(std::string& bytes) {
    std::size_t begin = 0, end = 0;
    if (!anyPart(bytes, begin, end)) return;
    bytes[begin + PartHeader::kLength + random_.below(4)] = random_.bytes(1)[0];
  }

  std::uint16_t anyType() {
    static const std::uint16_t types[] = {1, 2, 3, 4, 7, 8, 9, 16, 17, 18, 19, 20, 21, 99};
    return types[random_.below(std::size(types))];
  }

  void changeType(std::string& bytes) {
    std::size_t begin = 0, end = 0;
    if (!anyPart(bytes, begin, end)) return;
    bytes[begin + PartHeader::kType] = static_cast<char>(anyType());
  }

  void insertPart(std::string& bytes) {
    const std::size_t lengths[] = {0, 1, 2, 31, 32, 34, 68};
    const std::string contents = random_.bytes(lengths[random_.below(std::size(lengths))]);
    const std::string part = PackBuilder().part(anyType(), contents).finish();
    std::size_t begin = 0, end = 0;
    if (anyPart(bytes, begin, end))
      bytes.insert(random_.below(2) == 0 ? begin : end, part.substr(FileHeader::kSize));
  }

  static void mendLength(std::string& bytes) {
    unsigned char length[4];
    put32(length, static_cast<std::uint32_t>(bytes.size() - FileHeader::kSize));
    std::copy(length, length + sizeof length, bytes.begin() + FileHeader::kLength);
  }

  TestRandom& random_;
};

class Mutations : public ::testing::TestWithParam<const char*> {
 protected:
  std::string path() const { return temp_.path() + "/package.tpk"; }

  // What the batch run decides when it finds the file (installrun.cpp).
  bool installerTakes(const std::string& file) const {
    Repo* const repo = RepoAccess::fresh();
    repo->init(true);
    PackageFile headers;
    return repo->verifyFile(file, "package.tpk") && headers.readFrom(file);
  }

  std::string mutated(TestRandom& random, const VectorProduct& product) {
    static const std::vector<std::string> packages = packagesOf(GetParam());
    const std::string bytes = Mutator(random).mutate(packages[random.below(packages.size())]);
    if (random.below(2) == 0) return bytes;
    // Signed again where that is possible: what is left is what a signature does not catch.
    writeFile(path(), bytes);
    try {
      signPackages(path(), product.signer());
    } catch (const Failure&) {
      return bytes;
    }
    return readFile(path());
  }

  // Of a bundle: each package by itself, against the verdict on a file of its own.
  void checkPackages(const std::string& bytes, const Layout& layout, const Diagnosis& diagnosis);

  TempFolder temp_;
};

void Mutations::checkPackages(const std::string& bytes, const Layout& layout,
                              const Diagnosis& diagnosis) {
  std::vector<std::size_t> begins;
  for (const PartPlace& part : layout.parts)
    if (part.type == kPartPackage) begins.push_back(part.header);
  ASSERT_EQ(begins.size(), diagnosis.packages.size());
  begins.push_back(bytes.size());
  for (std::size_t i = 0; i + 1 < begins.size(); ++i) {
    writeFile(path(),
              PackBuilder().raw(bytes.substr(begins[i], begins[i + 1] - begins[i])).finish());
    EXPECT_EQ(installerTakes(path()), !diagnosis.packages[i].fault) << i;
  }
}

TEST_P(Mutations, NothingIsChangedAndTheVerdictIsTheInstallers) {
  const VectorProduct product(GetParam());
  for (const VectorVerdict& verdict : vectorVerdicts()) {
    writeFile(path(), vectorPackage(verdict.package));
    const InputFile file(path());
    const Diagnosis diagnosis = diagnose(file, readLayout(*file.open(), file.size()));
    EXPECT_EQ(diagnosis.good, installerTakes(path())) << verdict.package;
    EXPECT_EQ(diagnosis.good, diagnosis.findings.empty()) << verdict.package;
    if (verdict.set != GetParam()) continue;
    EXPECT_EQ(diagnosis.good, verdict.good) << verdict.package;
  }
}

TEST_P(Mutations, VerdictIsTheInstallersAndHasAReason) {
  TestRandom random;
  const VectorProduct product(GetParam());
  int good = 0, bundles = 0;
  for (int i = 0; i < kMutations / 2; ++i) {
    const std::string bytes = mutated(random, product);
    writeFile(path(), bytes);
    const InputFile file(path());
    const Layout layout = readLayout(*file.open(), file.size());
    const Diagnosis diagnosis = diagnose(file, layout);
    ASSERT_EQ(diagnosis.good, installerTakes(path())) << i;
    ASSERT_EQ(diagnosis.good, diagnosis.findings.empty())
        << i << ": " << (diagnosis.good ? explanation(diagnosis.findings[0]) : "no reason");
    good += diagnosis.good;
    bundles += diagnosis.isBundle;
    if (diagnosis.isBundle) checkPackages(bytes, layout, diagnosis);
    if (HasFatalFailure() || HasNonfatalFailure()) FAIL() << i;
  }
  // Both verdicts and both kinds of file are met.
  EXPECT_GT(good, kMutations / 100);
  EXPECT_LT(good, kMutations / 3);
  EXPECT_GT(bundles, kMutations / 100);
}

TEST_P(Mutations, EveryCutAndEveryFlippedBitToo) {
  const VectorProduct product(GetParam());
  const auto check = [this](const std::string& bytes, std::size_t at) {
    writeFile(path(), bytes);
    const InputFile file(path());
    const Diagnosis diagnosis = diagnose(file, readLayout(*file.open(), file.size()));
    EXPECT_EQ(diagnosis.good, installerTakes(path())) << at;
    EXPECT_EQ(diagnosis.good, diagnosis.findings.empty()) << at;
  };
  for (const char* kind : {"-mixed.tpk", "-listed.tpk"}) {
    const std::string whole = vectorPackage(GetParam() + std::string(kind));
    for (std::size_t i = 0; i < whole.size(); ++i) {
      check(whole.substr(0, i), i);
      std::string flipped = whole;
      flipped[i] = static_cast<char>(static_cast<unsigned char>(flipped[i]) ^ 1U << i % 8);
      check(flipped, i);
    }
  }
}

TEST_P(Mutations, RealProgramAgrees) {
  NEEDS_CHROOT();
  TestRandom random;
  const VectorProduct product(GetParam());
  Router router(GetParam() == std::string("a") ? Product::kVectorsA : Product::kVectorsB);
  router.installed({"system", 0x03166600, 1});
  std::vector<std::string> names;
  std::vector<bool> verdicts;
  for (std::size_t i = 0; i < kSample / 2; ++i) {
    const std::string name = std::to_string(i) + ".tpk";
    router.drop(name, mutated(random, product));
    ProcessResult result = Process({{TPK_PROGRAM, "verify", "--product", product.folder(),
                                     router.path("/flash/rw/pckg/" + name)},
                                    {},
                                    {},
                                    {}})
                               .wait(std::chrono::seconds(15));
    EXPECT_TRUE(result.exited(0) || result.exited(1)) << result;
    names.push_back(name);
    verdicts.push_back(result.status == 0);
  }
  const ProcessResult result = router.run();
  EXPECT_TRUE(result.exited(0)) << result;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool refused = result.out.find("ERROR: broken package " + names[i]) != std::string::npos;
    EXPECT_EQ(verdicts[i], !refused) << names[i];
  }
}

INSTANTIATE_TEST_SUITE_P(Vectors, Mutations, testing::Values("a", "b"));

}  // namespace

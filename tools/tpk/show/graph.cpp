#include "tools/tpk/show/graph.h"

#include "model/packagefile.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/make/packagesource.h"
#include "tools/tpk/read/deptext.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/read/rangeindex.h"

#include <map>
#include <memory>

namespace {

// Nodes are numbered: names come from anybody and are only ever labels.
class Graph {
 public:
  void add(const PackageFile& file);
  std::string text();

 private:
  struct Node {
    std::unique_ptr<PackageInfo> package;  // without what it carries, as the database has it
    std::string id;
    RangeIndex provided;

    bool satisfies(const PackageDep& dep) const {
      return package->doesSatisfy(dep) || provided.overlaps(dep);
    }
  };

  std::string addNode(const PackageInfo& package);
  std::string addOther(const std::string& label, const std::string& attributes);
  void addRequirements(const Node& from);
  void addProvided(const Node& from);
  void addConflicts(const Node& from);
  void addRelations();

  std::vector<Node> nodes_;
  std::map<std::string, std::string> others_;  // id by definition
  std::string clusters_;
  std::string edges_;
  unsigned clusterCount_ = 0;
};

std::unique_ptr<PackageInfo> installed(const PackageInfo& package) {
  auto copy = std::make_unique<PackageInfo>();
  copy->name = package.name;
  copy->version = package.version;
  copy->deps = package.deps;
  copy->provides = package.provides;
  copy->conflicts = package.conflicts;
  return copy;
}

std::string Graph::addNode(const PackageInfo& package) {
  const std::string id = "p" + std::to_string(nodes_.size());
  auto copy = installed(package);
  RangeIndex provided(copy->provides);
  nodes_.push_back({std::move(copy), id, std::move(provided)});
  return id + " [label=" + dotQuoted(package.getFullName()) + "];\n";
}

void Graph::add(const PackageFile& file) {
  if (!file.isBundle) {
    clusters_ += "  " + addNode(file);
    return;
  }
  clusters_ += "  subgraph cluster" + std::to_string(clusterCount_++) + " {\n";
  clusters_ += "    label=" + dotQuoted(file.getFullName()) + ";\n";
  std::string bundle = addNode(file);
  // The bundle itself is what others require and conflict with.
  bundle.insert(bundle.find(']'), ", shape=folder");
  clusters_ += "    " + bundle;
  for (const PackageInfo* member : file.subPackages) clusters_ += "    " + addNode(*member);
  clusters_ += "  }\n";
}

// Something that is no package of the files, once for each label and look.
std::string Graph::addOther(const std::string& label, const std::string& attributes) {
  const std::string definition = "[label=" + dotQuoted(label) + ", " + attributes + "];\n";
  return others_.emplace(definition, "o" + std::to_string(others_.size())).first->second;
}

void Graph::addRequirements(const Node& from) {
  for (const PackageDep& dep : from.package->deps) {
    bool met = false;
    for (const Node& to : nodes_) {
      if (&to == &from || !to.satisfies(dep)) continue;
      met = true;
      edges_ += "  " + from.id + " -> " + to.id;
      // By its name there is nothing to explain.
      edges_ +=
          to.package->doesSatisfy(dep) ? ";\n" : " [label=" + dotQuoted(depText(dep)) + "];\n";
    }
    if (!met)
      edges_ += "  " + from.id + " -> " +
                addOther(depText(dep), "color=red, fontcolor=red, style=dashed") +
                " [color=red];\n";
  }
}

void Graph::addProvided(const Node& from) {
  for (const PackageDep& offer : from.package->provides)
    edges_ += "  " + from.id + " -> " + addOther(depText(offer), "shape=ellipse") +
              " [style=dotted, label=\"provides " + std::to_string(offer.weight) + "\"];\n";
}

void Graph::addConflicts(const Node& from) {
  for (const Node& to : nodes_)
    if (&to != &from && from.package->hasConflict(*to.package))
      edges_ += "  " + from.id + " -> " + to.id +
                " [color=orange, style=bold, arrowhead=tee, label=\"conflicts\"];\n";
  for (const PackageDep& conflict : from.package->conflicts) {
    bool known = false;
    for (const Node& to : nodes_) known = known || to.satisfies(conflict);
    if (!known)
      edges_ += "  " + from.id + " -> " + addOther(depText(conflict), "color=gray, style=dashed") +
                " [color=gray, arrowhead=tee, label=\"conflicts\"];\n";
  }
}

std::string Graph::text() {
  addRelations();
  std::string text = "digraph packages {\n  rankdir=LR;\n  node [shape=box];\n" + clusters_;
  for (const auto& other : others_) text += "  " + other.second + " " + other.first;
  return text + edges_ + "}\n";
}

void Graph::addRelations() {
  for (const Node& node : nodes_) {
    addRequirements(node);
    addProvided(node);
    addConflicts(node);
  }
}

std::unique_ptr<PackageFile> readPackage(const std::string& path) {
  const auto input = openPackage(path);
  auto package = std::make_unique<PackageFile>();
  if (package->readFrom(input->path())) return package;
  // Which says why.
  readPackedFile(*input);
  throw Failure(path + ": is no package that the installer can read");
}

}  // namespace

std::string dotQuoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : printable(text)) {
    // In a label a backslash begins an escape and "&" the name of a character.
    if (c == '&')
      quoted += "&amp;";
    else if (c == '"' || c == '\\')
      quoted += std::string("\\") + c;
    else
      quoted += c;
  }
  return quoted + '"';
}

std::string packageGraph(const std::vector<std::string>& files) {
  Graph graph;
  for (const std::string& file : files) graph.add(*readPackage(file));
  return graph.text();
}

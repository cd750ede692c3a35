// Names of the files in a package's meta directory.
#pragma once

constexpr char kVersionFile[] = "version";
constexpr char kDepsFile[] = "deps";
constexpr char kProvidesFile[] = "provides";
constexpr char kConflictsFile[] = "conflicts";
constexpr char kBundleFile[] = "bundle";
constexpr char kFilesFile[] = "files";
constexpr char kDisabledFile[] = "disabled";
constexpr char kEnabledFile[] = "enabled";
constexpr char kInstallScript[] = "oninstall";
constexpr char kUninstallScript[] = "onuninstall";

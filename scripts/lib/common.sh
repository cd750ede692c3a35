# For the scripts of the folder above; they run in the root of the checkout.
cd -P "$(dirname "${BASH_SOURCE[0]}")/../.."

jobs=$(nproc)
export CTEST_PARALLEL_LEVEL=$jobs CMAKE_BUILD_PARALLEL_LEVEL=$jobs

# The files of the project, matching patterns of git. Trusted whoever owns the checkout: a build as
# root in a user's clone is common.
tracked() {
  git -c safe.directory="$PWD" ls-files -- "$@"
}

# configure_and_build <preset> [<target>...]
configure_and_build() {
  local preset=$1
  shift
  cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}
}

# The Debian packages that Vantrel needs, by purpose. Sourced by scripts/setup and scripts/bench.
# shellcheck shell=bash disable=SC2034

build_packages=(
  build-essential cmake ninja-build pkg-config git
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  libicu-dev libhwy-dev libcli11-dev zlib1g-dev libdeflate-dev libssl-dev
)

run_packages=(
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav
)

# Recordings for the demo and the tools that make tagged ones; servers and programs that tests compare with.
test_packages=(
  libgtest-dev libgmock-dev nlohmann-json3-dev libplist-dev python3 tzdata strace xxd openssl gzip
  sox libsox-fmt-mp3 lame flac vorbis-tools ffmpeg
  fish zsh mandoc bsdextrautils
  alsa-utils sound-theme-freedesktop pocketsphinx-testdata oxygen-sounds
)

# What a user would pick instead, for scripts/bench.
bench_packages=(
  libbenchmark-dev rapidjson-dev libboost-dev libboost-thread-dev libasio-dev gstreamer1.0-tools
  libisal-dev libmbedtls-dev libgcrypt20-dev libjack-jackd2-dev qt6-base-dev
)

# For scripts/check.
check_packages=(clang clang-format clang-tidy libclang-rt-14-dev shellcheck)

# For every other processor that scripts/check_other_processors builds for.
cross_packages=(libhwy-dev libgtest-dev libgmock-dev)

# For scripts/docs.
docs_packages=(doxygen python3)

# For scripts/packages_check.
packaging_packages=(dpkg-dev lintian debootstrap)

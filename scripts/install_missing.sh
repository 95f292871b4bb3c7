# install_missing PACKAGE...: installs what is not there yet; without root, prints the one line to run and
# fails.
# shellcheck shell=bash

install_missing() {
  local missing=() package
  for package in "$@"; do
    # The status file answers faster than a package tool, so nothing to do stays well under two seconds.
    grep -q -x "$package" <<< "$installed_packages" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local line="apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
  if [ "$(id -u)" != 0 ]; then
    echo "These Debian packages are missing; please run:" >&2
    echo "  sudo sh -c '$line'" >&2
    return 1
  fi
  echo "Installing ${missing[*]}"
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
}

installed_packages=$(awk '/^Package: /{name=$2} /^Status: install ok installed/{print name}' \
  /var/lib/dpkg/status)

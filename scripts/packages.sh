# The Debian packages that saddlefit needs, and how to get them. To be sourced.
# shellcheck shell=bash disable=SC2034 # the lists are used by the scripts that source this

build_packages=(cmake ninja-build g++)
blas_packages=(libblas-dev liblapack-dev) # for -DSADDLEFIT_USE_BLAS=ON only
cli_packages=(pkg-config libopenbabel-dev libcli11-dev nlohmann-json3-dev libeigen3-dev zlib1g-dev
              libxxhash-dev)
test_packages=(libgtest-dev python3-jsonschema libblas3 liblapack3 # the reference to compare with
               libxtb6 xtb)
program_packages=(nwchem psi4 mopac python3-ase) # for scripts/test-programs
clang_packages=(clang libclang-rt-dev) # with the run-time libraries of sanitizers and fuzzers
lint_packages=("${clang_packages[@]}" clang-tidy cppcheck python3)
workflow_packages=(snakemake)
slurm_packages=(slurm-wlm munge) # for scripts/check-slurm
python_packages=(pybind11-dev python3-dev python3-venv python3-pip python3-setuptools python3-wheel
                 python3-numpy python3-ase python3-rdkit python3-tqdm python3-pytest mypy
                 python3-mypy python3-distributed)
site_packages=(mkdocs doxygen python3-numpydoc)
abi_packages=(abigail-tools)
debian_packages=(dpkg-dev debhelper dh-python blhc lintian mmdebstrap) # for scripts/check-debian
report_packages=(chromium chromium-driver python3-selenium)
bench_packages=(pkg-config libbenchmark-dev librdkit-dev libboost-dev libeigen3-dev libsqlite3-dev
                libopenbabel-dev python3-networkx python3-rdkit valgrind)

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2> /dev/null)" = installed ]
}

# Installs those of the named packages that are missing; ends the script where that cannot be done.
require_packages() {
    if ! command -v apt-get > /dev/null || ! command -v dpkg-query > /dev/null; then
        echo "No apt-get here. Make sure to have what these Debian packages hold: $*" >&2
        return
    fi
    local package missing=() root=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo > /dev/null; then
            echo "Packages are missing. Install them as root, then try again:" >&2
            echo "  apt-get install ${missing[*]}" >&2
            exit 1
        fi
        root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
}

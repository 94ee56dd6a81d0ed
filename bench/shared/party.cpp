#include "bench/shared/party.hpp"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "bench/peers/peers.hpp"
#include "bench/shared/torvane_party.hpp"

namespace Bench {
namespace {

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

Keys readKeys() {
    const std::string folder = BENCH_KEYS;
    return {readFile(folder + "/signing.pem"), readFile(folder + "/decryption.pem")};
}

std::vector<std::unique_ptr<Party>> makeParties(const Keys& keys, const std::string& enc) {
    std::vector<std::unique_ptr<Party>> parties;
    parties.push_back(makeTorvane(keys, enc));
#ifdef BENCH_CJOSE
    parties.push_back(makeCjose(keys, enc));
#endif
#ifdef BENCH_JOSE
    parties.push_back(makeJose(keys, enc));
#endif
#ifdef BENCH_RHONABWY
    parties.push_back(makeRhonabwy(keys, enc));
#endif
    return parties;
}

}  // namespace Bench

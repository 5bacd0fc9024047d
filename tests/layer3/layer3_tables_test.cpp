// The generated Huffman trees against the code words they were made from:
// every code word of every table walks to its own value.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "decoder/layer3_standard_tables.h"
#include "support/test_support.h"

using namespace vexa;

namespace {

struct CodeWord {
    int value;  // x * 16 + y, or v w x y as bits 3..0
    std::string code;
};

// The code tables of huffman.txt, keyed by table number (quadruple tables
// as 32 and 33).
std::map<int, std::vector<CodeWord>> ReadCodeTables() {
    std::map<int, std::vector<CodeWord>> tables;
    std::ifstream in(vexatest::SharedPath("tables/huffman.txt"));
    std::string line;
    std::vector<CodeWord>* current = nullptr;
    while (std::getline(in, line)) {
        line = line.substr(0, line.find('#'));
        std::istringstream words(line);
        std::string first;
        if (!(words >> first)) continue;
        if (first == "table") {
            int number;
            words >> number;
            current = &tables[number];
        } else if (first == "quad") {
            std::string name;
            words >> name;
            current = &tables[name == "A" ? 32 : 33];
        } else if (current == &tables[32] || current == &tables[33]) {
            int w, x, y, length;
            std::string code;
            words >> w >> x >> y >> length >> code;
            current->push_back({std::stoi(first) * 8 + w * 4 + x * 2 + y, code});
        } else {
            int y, length;
            std::string code;
            words >> y >> length >> code;
            current->push_back({std::stoi(first) * 16 + y, code});
        }
    }
    return tables;
}

// Walks a pre-order tree along the code's bits; -1 when the code ends on an
// inner node or runs past a leaf.
int Walk(const int16_t* node, const std::string& code) {
    size_t used = 0;
    while (*node < 0) {
        if (used == code.size()) return -1;
        const int skip = -*node;
        ++node;
        if (code[used++] == '1') node += skip;
    }
    return used == code.size() ? *node : -1;
}

TEST(Layer3Tables, EveryCodeWordWalksToItsOwnValue) {
    const auto codeTables = ReadCodeTables();
    ASSERT_EQ(codeTables.size(), 17u);  // 15 big-value tables with codes, A and B
    for (const auto& [number, words] : codeTables) {
        const int16_t* tree = tables::kHuffmanTables[number].tree;
        for (const CodeWord& word : words)
            EXPECT_EQ(Walk(tree, word.code), word.value) << "table " << number << " code " << word.code;
    }
}

}  // namespace

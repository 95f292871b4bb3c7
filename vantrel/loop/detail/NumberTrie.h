#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace vantrel::loop::detail {

/// What stands in a trie: an item derived from this, under its number, or a branch.
struct TrieNode {
  static constexpr int kDigit = 5;  ///< bits that a branch tells apart
  static constexpr int kItem = -kDigit;

  std::uint64_t number = 0;  ///< of a branch the digits above its own count, which all below have in common
  int shift = kItem;         ///< where a branch's digit begins
};

/// Items in the order of their numbers, as a value that shares all its nodes: copying it costs nothing, and
/// changing a copy costs the branches on the way to the item, a logarithm of how many there are.
///
/// Threads: as a plain value; copies are independent. No operation changes a node, so a reader that keeps a
/// copy may walk it while others change theirs. What throws (`bad_alloc`) leaves the value as it was.
template <typename Item>
class NumberTrie {
 public:
  bool empty() const { return !root_; }

  /// Null when there is none.
  const Item* find(std::uint64_t number) const {
    const TrieNode* node = root_.get();
    while (node && node->shift >= 0) node = childOf(*node, number).get();
    return node && node->number == number ? static_cast<const Item*>(node) : nullptr;
  }

  /// In place of the item of the same number, if any.
  void put(std::shared_ptr<const Item> item) { root_ = with(root_, std::move(item)); }

  void erase(std::uint64_t number) {
    if (root_) root_ = without(root_, number);
  }

  template <typename Visitor>
  void forEach(const Visitor& visit) const {
    if (!root_) return;
    if (root_->shift > 0) return walk(static_cast<const Branch&>(*root_), visit);
    if (root_->shift == 0) return walkItems(static_cast<const Branch&>(*root_), visit);
    visit(static_cast<const Item&>(*root_));
  }

 private:
  using Node = std::shared_ptr<const TrieNode>;

  struct Branch : TrieNode {
    Branch(std::uint64_t below, int at) : TrieNode{below, at} {}
    std::array<Node, std::size_t{1} << kDigit> children;
    std::size_t end = 0;  ///< after the last child; spares a walk the look at the free places
    void set(std::uint64_t of, Node child) {
      const std::size_t at = of >> shift & (children.size() - 1);
      children[at] = std::move(child);
      end = std::max(end, at + 1);
    }
  };

  static const Node& childOf(const TrieNode& node, std::uint64_t number) {
    const auto& children = static_cast<const Branch&>(node).children;
    return children[number >> node.shift & (children.size() - 1)];
  }

  /// Where the highest digit begins in which two numbers differ; `kItem` when they are the same.
  static int difference(std::uint64_t a, std::uint64_t b) {
    return a == b ? TrieNode::kItem : (63 - std::countl_zero(a ^ b)) / TrieNode::kDigit * TrieNode::kDigit;
  }

  static Node with(const Node& node, Node item) {
    if (!node) return item;
    const std::uint64_t number = item->number;
    const int highest = difference(node->number, number);
    if (highest > node->shift) {
      auto fork = std::make_shared<Branch>(number, highest);
      fork->set(node->number, node);
      fork->set(number, std::move(item));
      return fork;
    }
    if (node->shift == TrieNode::kItem) return item;
    auto branch = std::make_shared<Branch>(static_cast<const Branch&>(*node));
    branch->set(number, with(childOf(*node, number), std::move(item)));
    return branch;
  }

  static Node without(const Node& node, std::uint64_t number) {
    if (difference(node->number, number) > node->shift) return node;
    if (node->shift == TrieNode::kItem) return nullptr;
    const Node& child = childOf(*node, number);
    if (!child) return node;
    auto branch = std::make_shared<Branch>(static_cast<const Branch&>(*node));
    branch->set(number, without(child, number));
    while (!branch->children[branch->end - 1]) --branch->end;
    const Node* only = nullptr;  // in whose favour a branch without another child goes
    for (const Node& left : branch->children) {
      if (left && std::exchange(only, &left)) return branch;
    }
    return *only;
  }

  template <typename Visitor>
  static void walk(const Branch& branch, const Visitor& visit) {
    if (branch.shift == 0) return walkItems(branch, visit);
    for (std::size_t i = 0; i < branch.end; ++i) {
      const TrieNode* const child = branch.children[i].get();
      if (!child) continue;
      if (child->shift == TrieNode::kItem) {
        visit(static_cast<const Item&>(*child));
      } else {
        walk(static_cast<const Branch&>(*child), visit);
      }
    }
  }

  /// Most items stand under branches of the last digit, and have nothing but items beside them.
  template <typename Visitor>
  static void walkItems(const Branch& branch, const Visitor& visit) {
    const Node* const end = branch.children.data() + branch.end;
    for (const Node* child = branch.children.data(); child != end; ++child) {
      if (*child) visit(static_cast<const Item&>(**child));
    }
  }

  Node root_;
};

}  // namespace vantrel::loop::detail

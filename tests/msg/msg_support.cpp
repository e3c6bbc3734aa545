#include "tests/support/test_node.h"

namespace {

[[maybe_unused]] const auto* const node = TestNode::of("node_name = testnode\n");

} // namespace

#include "common/LL.h"
#include "common/LL_node.h"

void l_lafter(LLNode* node, LLNode* newNode) { LinkAfter(node, newNode); }

void l_lbefore(LLNode* node, LLNode* newNode) { LinkBefore(node, newNode); }

void l_unlink(LLNode* node) { Unlink(node); }

void l_linit(LLNode* node) { InitNode(node); }

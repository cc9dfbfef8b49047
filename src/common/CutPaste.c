#include "common/LL.h"
#include "common/LL_node.h"

void CutPaste(LLNode* first, LLNode* end, LLNode* target) { MoveNodes(first, end, target); }

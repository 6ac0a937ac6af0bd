// SPDX-License-Identifier: MIT
#include "host/basic_suite.h"

#include <cstdlib>
#include <string_view>

namespace quorvel::host {

namespace {

SPErr acquiresNothing(const char*, int, const void**) {
    return PF_Err_BAD_CALLBACK_PARAM;
}

SPErr releasesNothing(const char*, int) {
    return PF_Err_BAD_CALLBACK_PARAM;
}

int isEqual(const char* a, const char* b) {
    return a != nullptr && b != nullptr && std::string_view(a) == b ? 1 : 0;
}

SPErr allocateBlock(std::size_t size, void** block) {
    *block = std::malloc(size);
    return *block != nullptr ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
}

SPErr freeBlock(void* block) {
    std::free(block);
    return PF_Err_NONE;
}

SPErr reallocateBlock(void* block, std::size_t size, void** newBlock) {
    *newBlock = std::realloc(block, size);
    return *newBlock != nullptr ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
}

SPErr undefined() {
    return PF_Err_INVALID_CALLBACK;
}

}  // namespace

SPBasicSuite basicSuiteWithoutSuites() {
    return {acquiresNothing, releasesNothing, isEqual, allocateBlock, freeBlock, reallocateBlock, undefined};
}

}  // namespace quorvel::host

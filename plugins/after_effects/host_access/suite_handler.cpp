// SPDX-License-Identifier: MIT
#include "plugins/after_effects/host_access/suite_handler.h"

#include <algorithm>

namespace quorvel {

namespace {

template <typename Suite>
const Suite* acquireOnce(const SPBasicSuite* basic, const char* name, int version, const Suite*& cached) {
    if (cached == nullptr) {
        const void* suite = nullptr;
        if (basic->AcquireSuite(name, version, &suite) != PF_Err_NONE || suite == nullptr) {
            AEGP_SuiteHandler::MissingSuiteError();
        }
        cached = static_cast<const Suite*>(suite);
    }
    return cached;
}

bool isEmpty(const PF_LRect& rect) {
    return rect.left >= rect.right || rect.top >= rect.bottom;
}

}  // namespace

AEGP_SuiteHandler::AEGP_SuiteHandler(const SPBasicSuite* basic) : basic_(basic) {
    if (basic_ == nullptr) {
        MissingSuiteError();
    }
}

AEGP_SuiteHandler::~AEGP_SuiteHandler() {
    if (handleSuite_ != nullptr) {
        basic_->ReleaseSuite(kPFHandleSuite, kPFHandleSuiteVersion);
    }
    if (paramUtilsSuite_ != nullptr) {
        basic_->ReleaseSuite(kPFParamUtilsSuite, kPFParamUtilsSuiteVersion);
    }
}

const PF_HandleSuite* AEGP_SuiteHandler::HandleSuite1() {
    return acquireOnce(basic_, kPFHandleSuite, kPFHandleSuiteVersion, handleSuite_);
}

const PF_ParamUtilsSuite* AEGP_SuiteHandler::ParamUtilsSuite3() {
    return acquireOnce(basic_, kPFParamUtilsSuite, kPFParamUtilsSuiteVersion, paramUtilsSuite_);
}

void AEGP_SuiteHandler::MissingSuiteError() {
    throw static_cast<int>(PF_Err_BAD_CALLBACK_PARAM);
}

void reportMissingSuite(const PF_InData* in_data, PF_OutData* out_data) {
    if (out_data != nullptr) {
        out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
        in_data->utils->ansi.sprintf(out_data->return_msg, "Not able to acquire AEFX Suite.");
    }
    throw static_cast<int>(A_Err_MISSING_SUITE);
}

void UnionLRect(const PF_LRect* src, PF_LRect* dst) {
    if (isEmpty(*dst)) {
        *dst = *src;
    } else if (!isEmpty(*src)) {
        dst->left = std::min(dst->left, src->left);
        dst->top = std::min(dst->top, src->top);
        dst->right = std::max(dst->right, src->right);
        dst->bottom = std::max(dst->bottom, src->bottom);
    }
}

}  // namespace quorvel

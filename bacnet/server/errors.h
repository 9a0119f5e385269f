#pragma once

#include "bacnet/number/failures.h"
#include "bacnet/service/failure.h"

namespace bacnet::server {

/// What a device answers, as clause 18 pairs class and code.
constexpr Error kUnknownObject{error_class::kObject, error_code::kUnknownObject};
constexpr Error kNoCovForObject{error_class::kObject, error_code::kOptionalFunctionalityNotSupported};
constexpr Error kUnknownProperty{error_class::kProperty, error_code::kUnknownProperty};
constexpr Error kInvalidDataType{error_class::kProperty, error_code::kInvalidDataType};
constexpr Error kValueOutOfRange{error_class::kProperty, error_code::kValueOutOfRange};
constexpr Error kWriteAccessDenied{error_class::kProperty, error_code::kWriteAccessDenied};
constexpr Error kCharacterSetNotSupported{error_class::kProperty, error_code::kCharacterSetNotSupported};
constexpr Error kInvalidArrayIndex{error_class::kProperty, error_code::kInvalidArrayIndex};
constexpr Error kNotAnArray{error_class::kProperty, error_code::kPropertyIsNotAnArray};
constexpr Error kNoSpaceToAddListElement{error_class::kResources, error_code::kNoSpaceToAddListElement};
constexpr Error kNoSpaceToWriteProperty{error_class::kResources, error_code::kNoSpaceToWriteProperty};

}  // namespace bacnet::server

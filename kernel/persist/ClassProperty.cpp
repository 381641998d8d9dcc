#include <kernel/ClassProperty.h>

const wchar_t* const IClassProperty::VALUE_TAG = L"_value";
const wchar_t* const IClassProperty::ITEM_TAG = L"_item";
const wchar_t* const IClassProperty::FIRST_TAG = L"_first";
const wchar_t* const IClassProperty::SECOND_TAG = L"_second";
const wchar_t* const IClassProperty::TEXT_TAG = L"_text";
const wchar_t* const IClassProperty::COMMENT_TAG = L"_comment";
const wchar_t* const IClassProperty::STRING_TAG = L"_str";

IObjectHolder::~IObjectHolder() = default;

bool IClassProperty::IsResetMissing() const { return false; }

void IClassProperty::Clear() {}

void IClassProperty::Populate() {}

IClassProperty::~IClassProperty() = default;

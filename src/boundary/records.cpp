#include "xem/records.h"

_T_FUNT_BASE& _T_FUNT_BASE::operator=(const _T_FUNT_BASE& other) = default;
_T_FUNT_BASE& _T_FUNT_BASE::operator=(_T_FUNT_BASE&& other) = default;
_T_FUNT_BASE3& _T_FUNT_BASE3::operator=(const _T_FUNT_BASE3& other) = default;
_T_FUNT_BASE3& _T_FUNT_BASE3::operator=(_T_FUNT_BASE3&& other) = default;

CArray22::CArray22() = default;
CArray22::~CArray22() = default;

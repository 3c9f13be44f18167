// Class records of the shared container demo classes.
#include "Support/ContainerItems.h"

namespace vlib::test {

VLIB_IMPLEMENT_CREATABLE_CLASS(TTestItem, TRootObject);
VLIB_IMPLEMENT_CREATABLE_CLASS(TTestLateItem, TTestItem);
VLIB_IMPLEMENT_RUNTIME_CLASS(TTestAbstractItem, TTestItem);
VLIB_IMPLEMENT_CREATABLE_CLASS(TTestLinkItem, TRootObject);
VLIB_IMPLEMENT_CREATABLE_CLASS(TTestPtrItem, TRootObject);

} // namespace vlib::test

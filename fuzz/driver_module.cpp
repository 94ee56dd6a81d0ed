// PKCS #11 module whose functions are those of the program that loads it: the program calls setFunctions() first.
#include <p11-kit/pkcs11.h>

namespace {

CK_FUNCTION_LIST* functions = nullptr;

}  // namespace

extern "C" __attribute__((visibility("default"))) void setFunctions(CK_FUNCTION_LIST* list) {
    functions = list;
}

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    *list = functions;
    return CKR_OK;
}

#include "platform/macos/AccessibilityTrustSource.h"

#include "platform/macos/CfObjects.h"

namespace morvel {

bool AccessibilityTrustSource::isTrusted() {
    return AXIsProcessTrusted() != 0;
}

bool AccessibilityTrustSource::prompt() {
    const void* key = kAXTrustedCheckOptionPrompt;
    const void* value = kCFBooleanTrue;
    const CfOwned options(CFDictionaryCreate(kCFAllocatorDefault, &key, &value, 1,
                                             &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks));
    return AXIsProcessTrustedWithOptions(options.get()) != 0;
}

} // namespace morvel

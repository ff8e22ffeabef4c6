# Qt's package asks for it; nothing of ours uses it.
set(WrapVulkanHeaders_FOUND TRUE)

# Qt's package asks for it; nothing of ours uses it.
set(XKB_FOUND TRUE)

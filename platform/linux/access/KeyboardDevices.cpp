#include "platform/linux/access/KeyboardDevices.h"

#include "platform/linux/Descriptor.h"
#include "platform/linux/Handle.h"

#include <fcntl.h>
#include <libudev.h>
#include <sys/acl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <type_traits>

namespace morvel {

namespace {

using Udev = Handle<udev, udev_unref>;
using Search = Handle<udev_enumerate, udev_enumerate_unref>;
using Device = Handle<udev_device, udev_device_unref>;
using AccessList = Handle<std::remove_pointer_t<acl_t>, acl_free>;

std::string lastProblem(const std::string& name) {
    return name + ": " + std::generic_category().message(errno);
}

struct Entries {
    bool ofUsers = false;
    bool ofGroups = false;
};

// Calls `act` with every entry and its kind, until one answers false; answers whether all did well.
template <typename Act>
bool forEachEntry(acl_t list, const Act& act) {
    acl_entry_t entry = nullptr;
    int found = acl_get_entry(list, ACL_FIRST_ENTRY, &entry);
    for (; found > 0; found = acl_get_entry(list, ACL_NEXT_ENTRY, &entry)) {
        acl_tag_t kind = ACL_UNDEFINED_TAG;
        if (acl_get_tag_type(entry, &kind) != 0 || !act(entry, kind))
            return false;
    }
    return found == 0;
}

} // namespace

std::vector<DeviceFile> keyboardDevices() {
    const Udev udev(udev_new());
    const Search search(udev ? udev_enumerate_new(udev.get()) : nullptr);
    if (!search || udev_enumerate_add_match_subsystem(search.get(), "input") < 0 ||
        udev_enumerate_add_match_sysname(search.get(), "event*") < 0 ||
        udev_enumerate_add_match_property(search.get(), "ID_INPUT_KEYBOARD", "1") < 0 ||
        udev_enumerate_scan_devices(search.get()) < 0)
        return {};
    std::vector<DeviceFile> devices;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(search.get())) {
        const Device device(
            udev_device_new_from_syspath(udev.get(), udev_list_entry_get_name(entry)));
        if (device && udev_device_get_devnode(device.get()) != nullptr)
            devices.push_back({udev_device_get_devnode(device.get()),
                               udev_device_get_devnum(device.get()),
                               udev_device_has_current_tag(device.get(), "uaccess") > 0});
    }
    return devices;
}

AccessProblem withdrawUsers(const DeviceFile& device) {
    const Descriptor file(::open(device.path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return errno == ENOENT ? std::nullopt : AccessProblem(lastProblem(device.path));
    if (!S_ISCHR(status.st_mode) || status.st_rdev != device.number)
        return std::nullopt;
    return withdrawUsers(file.get(), device.path);
}

AccessProblem withdrawUsers(int descriptor, const std::string& name) {
    // The one name by which a file can be spoken of that is held, but not opened.
    const std::string held = "/proc/self/fd/" + std::to_string(descriptor);
    const AccessList list(acl_get_file(held.c_str(), ACL_TYPE_ACCESS));
    if (!list)
        return errno == ENOTSUP ? std::nullopt : AccessProblem(lastProblem(name));
    Entries entries;
    bool well = forEachEntry(list.get(), [&](acl_entry_t entry, acl_tag_t kind) {
        entries.ofUsers |= kind == ACL_USER;
        entries.ofGroups |= kind == ACL_GROUP;
        return kind != ACL_USER || acl_delete_entry(list.get(), entry) == 0;
    });
    if (well && !entries.ofUsers)
        return std::nullopt;
    // Without a mask the list is nothing but the file's mode, and the mode is the group's own
    // again.
    well =
        well && forEachEntry(list.get(), [&](acl_entry_t entry, acl_tag_t kind) {
            return kind != ACL_MASK || entries.ofGroups || acl_delete_entry(list.get(), entry) == 0;
        });
    if (!well || acl_set_file(held.c_str(), ACL_TYPE_ACCESS, list.get()) != 0)
        return lastProblem(name);
    return std::nullopt;
}

} // namespace morvel

# What an installed copy is known as and where it lives below a prefix: a folder that holds the
# program and all it needs, which platform/linux/LinuxApplicationBundle.h tells of.

set(MORVEL_APPLICATION_ID app.morvel.Morvel)
set(MORVEL_BUNDLE lib/Morvel.app)

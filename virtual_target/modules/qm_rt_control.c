// SPDX-License-Identifier: GPL-2.0-only
/*
 * The control files of the Quillmark kernel and the board controller's LED:
 *
 *   /sys/kernel/qm/rt_cpus
 *   /sys/kernel/qm/disable_hrtimer
 *   /sys/devices/platform/kite/mcu/led_pulse_period
 *
 * They keep what is written and do nothing with it. A value is one write with
 * its newline at the end, as in the real ones: half a value is refused. The
 * kernel's log tells every value that was taken, in their order.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/err.h>
#include <linux/kobject.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/platform_device.h>
#include <linux/sysfs.h>

struct control_file {
	struct kobj_attribute attribute;
	char value[256];
};

static DEFINE_MUTEX(values_lock);

static ssize_t show_value(struct kobject *kobj, struct kobj_attribute *attr,
			  char *to)
{
	struct control_file *file =
		container_of(attr, struct control_file, attribute);
	ssize_t length;

	mutex_lock(&values_lock);
	length = sysfs_emit(to, "%s", file->value);
	mutex_unlock(&values_lock);
	return length;
}

static ssize_t store_value(struct kobject *kobj, struct kobj_attribute *attr,
			   const char *from, size_t count)
{
	struct control_file *file =
		container_of(attr, struct control_file, attribute);

	/* A newline further in would make it two values. */
	if (count >= sizeof(file->value) ||
	    strnchr(from, count, '\n') != from + count - 1)
		return -EINVAL;
	mutex_lock(&values_lock);
	strscpy(file->value, from, count + 1);
	pr_info("%s = %s", attr->attr.name, file->value);
	mutex_unlock(&values_lock);
	return count;
}

#define CONTROL_FILE(name, initial)                                       \
	static struct control_file name = {                               \
		.attribute = __ATTR(name, 0644, show_value, store_value), \
		.value = initial "\n",                                    \
	}

CONTROL_FILE(rt_cpus, "");
CONTROL_FILE(disable_hrtimer, "0");
CONTROL_FILE(led_pulse_period, "0");

static const struct attribute *const kernel_files[] = {
	&rt_cpus.attribute.attr,
	&disable_hrtimer.attribute.attr,
	NULL,
};

static const struct attribute *const led_files[] = {
	&led_pulse_period.attribute.attr,
	NULL,
};

static struct kobject *kernel_folder;
static struct platform_device *kite;
static struct kobject *mcu_folder;

static struct kobject *add_folder(const char *name, struct kobject *parent,
				  const struct attribute *const *files)
{
	struct kobject *folder = kobject_create_and_add(name, parent);
	int err;

	if (!folder)
		return ERR_PTR(-ENOMEM);
	err = sysfs_create_files(folder, files);
	if (!err)
		return folder;
	kobject_put(folder);
	return ERR_PTR(err);
}

static int __init rt_control_init(void)
{
	int err;

	kernel_folder = add_folder("qm", kernel_kobj, kernel_files);
	if (IS_ERR(kernel_folder))
		return PTR_ERR(kernel_folder);

	kite = platform_device_register_simple("kite", PLATFORM_DEVID_NONE,
					       NULL, 0);
	err = PTR_ERR_OR_ZERO(kite);
	if (err)
		goto remove_kernel_folder;

	mcu_folder = add_folder("mcu", &kite->dev.kobj, led_files);
	err = PTR_ERR_OR_ZERO(mcu_folder);
	if (err)
		goto remove_kite;
	return 0;

remove_kite:
	platform_device_unregister(kite);
remove_kernel_folder:
	kobject_put(kernel_folder);
	return err;
}

static void __exit rt_control_exit(void)
{
	kobject_put(mcu_folder);
	platform_device_unregister(kite);
	kobject_put(kernel_folder);
}

module_init(rt_control_init);
module_exit(rt_control_exit);

MODULE_DESCRIPTION("Control files of the Quillmark real-time kernel");
MODULE_AUTHOR("The libqm developers");
MODULE_VERSION("1");
MODULE_LICENSE("GPL");

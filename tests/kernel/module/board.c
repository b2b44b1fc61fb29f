// SPDX-License-Identifier: GPL-2.0
// The board's own devices for a virtual machine, as far as the PC's kernel lacks them: the pixel pipeline as a V4L2
// output device, the lights, the battery, the power-off request, the USB port's role and the two mass-storage units.
// What the program wrote is read from debugfs; what a board would sense is set there.
#include <linux/debugfs.h>
#include <linux/leds.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/platform_device.h>
#include <linux/power_supply.h>
#include <linux/reboot.h>
#include <linux/workqueue.h>

#include "pixel_pipeline.h"

MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Devices of the inspection camera's board");

static u32 power_off_request;
static u32 usb_role = 1; // what the role call answers: 1 host or idle, 0 device of a PC
static u32 register_writes;

// Power: a full battery, and no charger.

static int supply_get(struct power_supply *supply, enum power_supply_property property,
                      union power_supply_propval *value)
{
	value->intval = property == POWER_SUPPLY_PROP_VOLTAGE_NOW ? 2046000 : 0;
	return 0;
}

static const enum power_supply_property battery_properties[] = {POWER_SUPPLY_PROP_VOLTAGE_NOW};
static const enum power_supply_property charger_properties[] = {POWER_SUPPLY_PROP_ONLINE};
static const struct power_supply_desc supplies[] = {
	{.name = "battery", .type = POWER_SUPPLY_TYPE_BATTERY, .properties = battery_properties, .num_properties = 1,
	 .get_property = supply_get, .no_thermal = true},
	{.name = "usb", .type = POWER_SUPPLY_TYPE_USB, .properties = charger_properties, .num_properties = 1,
	 .get_property = supply_get, .no_thermal = true},
};

// The request file: the board raises it, the program answers "0000" when it is ready to be switched off.

static void switch_off(struct work_struct *work)
{
	kernel_power_off();
}
static DECLARE_WORK(switch_off_work, switch_off);

static ssize_t poweroff_state_show(struct kobject *object, struct kobj_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%u\n", power_off_request);
}
static ssize_t poweroff_state_store(struct kobject *object, struct kobj_attribute *attribute, const char *text,
                                    size_t size)
{
	if (size >= 4 && !strncmp(text, "0000", 4))
		schedule_work(&switch_off_work);
	return (ssize_t)size;
}
static struct kobj_attribute poweroff_state = __ATTR_RW(poweroff_state);
static struct kobject *board_object;

// Lights.

static void light_set(struct led_classdev *light, enum led_brightness brightness)
{
}
static struct led_classdev lights[] = {
	{.name = "Green_LED", .max_brightness = 255, .brightness_set = light_set},
	{.name = "led-pwm0", .max_brightness = 255, .brightness_set = light_set},
};

// The USB port: its role, and the file behind each mass-storage unit.

static long role_ioctl(struct file *file, unsigned int command, unsigned long argument)
{
	int role = (int)usb_role;

	if (command != 0x80044201)
		return -ENOTTY;
	if (put_user(role, (int __user *)argument))
		return -EFAULT;
	return role;
}
static const struct file_operations role_operations = {
	.owner = THIS_MODULE, .unlocked_ioctl = role_ioctl, .compat_ioctl = role_ioctl};
static struct miscdevice role_device = {.minor = MISC_DYNAMIC_MINOR, .name = "fsl_otg", .fops = &role_operations};

static char unit_files[2][PATH_MAX];

static ssize_t file_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%s", (char *)dev_get_drvdata(device));
}
static ssize_t file_store(struct device *device, struct device_attribute *attribute, const char *text, size_t size)
{
	strscpy(dev_get_drvdata(device), text, PATH_MAX);
	sysfs_notify(&device->kobj, NULL, "file");
	return (ssize_t)size;
}
static DEVICE_ATTR_RW(file);

static void release_nothing(struct device *device)
{
}
static struct platform_device *controller;
static struct platform_device *pipeline_device;
static struct device gadget = {.init_name = "gadget", .release = release_nothing};
static struct device units[2] = {{.init_name = "gadget-lun0", .parent = &gadget, .release = release_nothing},
                                 {.init_name = "gadget-lun1", .parent = &gadget, .release = release_nothing}};

static ssize_t nextreg_state_store(struct device *device, struct device_attribute *attribute, const char *text,
                                   size_t size)
{
	register_writes++;
	return (ssize_t)size;
}
static DEVICE_ATTR_WO(nextreg_state);

static int add_units(void)
{
	int i, error;

	controller = platform_device_register_simple("fsl-usb2-udc", PLATFORM_DEVID_NONE, NULL, 0);
	if (IS_ERR(controller))
		return PTR_ERR(controller);
	gadget.parent = &controller->dev;
	error = device_register(&gadget);
	for (i = 0; !error && i < 2; i++) {
		error = device_register(&units[i]);
		dev_set_drvdata(&units[i], unit_files[i]);
		if (!error)
			error = device_create_file(&units[i], &dev_attr_file);
	}
	return error;
}

static int __init board_init(void)
{
	struct dentry *debug_dir = debugfs_create_dir("varno_board", NULL);
	int i, error = 0;

	debugfs_create_u32("power_off_request", 0600, debug_dir, &power_off_request);
	debugfs_create_u32("usb_role", 0600, debug_dir, &usb_role);
	debugfs_create_u32("register_writes", 0400, debug_dir, &register_writes);
	for (i = 0; !error && i < ARRAY_SIZE(supplies); i++)
		error = PTR_ERR_OR_ZERO(power_supply_register(NULL, &supplies[i], NULL));
	for (i = 0; !error && i < ARRAY_SIZE(lights); i++)
		error = led_classdev_register(NULL, &lights[i]);
	board_object = kobject_create_and_add("varno_board", kernel_kobj);
	if (!error)
		error = board_object ? sysfs_create_file(board_object, &poweroff_state.attr) : -ENOMEM;
	if (!error)
		error = misc_register(&role_device);
	if (!error)
		error = add_units();
	if (!error) {
		pipeline_device = platform_device_register_simple("mxs-pxp", 0, NULL, 0);
		error = PTR_ERR_OR_ZERO(pipeline_device);
	}
	if (!error)
		error = device_create_file(&pipeline_device->dev, &dev_attr_nextreg_state);
	if (!error)
		error = pixel_pipeline_add(&pipeline_device->dev, debug_dir);
	if (error)
		panic("varno_board: %d", error);
	return 0;
}
// It is loaded for the life of the machine: there is no way back out, and no machine without it.
module_init(board_init);

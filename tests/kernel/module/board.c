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
static const struct file_operations role_operations = {.owner = THIS_MODULE, .unlocked_ioctl = role_ioctl};
static struct miscdevice role_device = {.minor = MISC_DYNAMIC_MINOR, .name = "fsl_otg", .fops = &role_operations};

static struct kobject *units[2];
static char unit_files[2][PATH_MAX];

static ssize_t file_show(struct kobject *unit, struct kobj_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%s", unit_files[unit == units[1]]);
}
static ssize_t file_store(struct kobject *unit, struct kobj_attribute *attribute, const char *text, size_t size)
{
	strscpy(unit_files[unit == units[1]], text, PATH_MAX);
	return (ssize_t)size;
}
static struct kobj_attribute unit_file = __ATTR_RW(file);

static int add_units(void)
{
	static const char *const names[] = {"gadget-lun0", "gadget-lun1"};
	struct platform_device *controller = platform_device_register_simple("fsl-usb2-udc", PLATFORM_DEVID_NONE, NULL, 0);
	struct kobject *gadget = IS_ERR(controller) ? NULL : kobject_create_and_add("gadget", &controller->dev.kobj);
	int i, error = gadget ? 0 : -ENOMEM;

	for (i = 0; !error && i < 2; i++) {
		units[i] = kobject_create_and_add(names[i], gadget);
		error = units[i] ? sysfs_create_file(units[i], &unit_file.attr) : -ENOMEM;
	}
	return error;
}

// The register file beside the pixel pipeline, for writing alone.

static ssize_t nextreg_state_store(struct device *device, struct device_attribute *attribute, const char *text,
                                   size_t size)
{
	register_writes++;
	return (ssize_t)size;
}
static DEVICE_ATTR_WO(nextreg_state);

static int __init board_init(void)
{
	struct dentry *debug_dir = debugfs_create_dir("varno_board", NULL);
	struct kobject *board = kobject_create_and_add("varno_board", kernel_kobj);
	struct platform_device *pipeline = platform_device_register_simple("mxs-pxp", 0, NULL, 0);
	int i, error = board ? PTR_ERR_OR_ZERO(pipeline) : -ENOMEM;

	debugfs_create_u32("power_off_request", 0600, debug_dir, &power_off_request);
	debugfs_create_u32("usb_role", 0600, debug_dir, &usb_role);
	debugfs_create_u32("register_writes", 0400, debug_dir, &register_writes);
	for (i = 0; !error && i < ARRAY_SIZE(supplies); i++)
		error = PTR_ERR_OR_ZERO(power_supply_register(NULL, &supplies[i], NULL));
	for (i = 0; !error && i < ARRAY_SIZE(lights); i++)
		error = led_classdev_register(NULL, &lights[i]);
	if (!error)
		error = sysfs_create_file(board, &poweroff_state.attr);
	if (!error)
		error = misc_register(&role_device);
	if (!error)
		error = add_units();
	if (!error)
		error = device_create_file(&pipeline->dev, &dev_attr_nextreg_state);
	if (!error)
		error = pixel_pipeline_add(&pipeline->dev, debug_dir);
	if (error)
		panic("varno_board: %d", error);
	return 0;
}
// It is loaded for the life of the machine: there is no way back out, and no machine without it.
module_init(board_init);

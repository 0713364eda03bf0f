include $(sort $(wildcard $(BR2_EXTERNAL_WZAPP_PATH)/package/*/*.mk))

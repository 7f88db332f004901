// Factory automation functions of the UART service.
#ifndef FACTORY_AUTOMATION_H
#define FACTORY_AUTOMATION_H

#ifdef __cplusplus
extern "C" {
#endif

int input_packet_data(void);
int input_multiple_packet_data(void);
int input_ir_blaster(void);

#ifdef __cplusplus
}
#endif

#endif

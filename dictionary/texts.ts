<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1">
<context>
    <name>Dialog</name>
    <message>
        <source>Value:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Option:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Ok</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Range:%1~%2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The value is out of range!</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Energyline</name>
    <message>
        <source>BYPASS</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Voltage:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Current:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Frequency:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Status:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INPUT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Device information</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Working mode:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Model:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Type:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Name:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Manufacturer:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REC/INV</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REC status:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REC temperature:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INV status:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INV temperature:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>LOAD</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Apparent power:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Active power:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Reactive power:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Load percentage:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>BATTERY</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Temperature:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remaining time:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remaining capacity:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REC</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INV</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Normal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No supply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Mains supply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery supply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Conbined supply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass supply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Single-Single</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Three-Single</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Three-Three</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>None</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Load on bypass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Load on inverter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Load on other</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Disconnect</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Standby</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>curr. equal charge</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>volt. float charge</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Discharge</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>volt. equal charge</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Off</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Soft start</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>PFC mode</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery mode</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Normal run</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>MsgBox</name>
    <message>
        <source>Ok</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>vek5Client</name>
    <message>
        <source>successful</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 %2 %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Appear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Disappear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ID</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Content</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Status</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>vek5Font</name>
    <message>
        <source>BYP Module/Sys board_Bypass abnormal disappear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output abnormal disappear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery neutral Lost</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_inverter fast check fail disappear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_inverter Negative power fault disappear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Bypass module/System board communication is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Rectification communication abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Inverter communication abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Bypass module/system board configuration error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Rectifier configuration error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Inverter configuration error</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Emergency alert</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Minor alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Bypass power supply</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Battery powered</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Low battery (DOD)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Low battery (EOD)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Bypass failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Fan failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Battery ground fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Oil engine mode</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Battery switch is off</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Emergency shutdown</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Output switch of the power distribution cabinet is disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Maintenance switch of the distribution cabinet is closed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Bypass switch of the distribution cabinet is disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_AC lightning arrester disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_External transformer over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Mains input MCB is disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Machine output switch is off</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Machine maintenance switch closed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Machine bypass switch is off</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Service cover open</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Bypass backfill protection contactor is disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Monitor_Power off in time sharing</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UPS need maintenance</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System board and inverter module CAN communication abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Multiple inverters have the same address</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Power status conflict</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Inverter module uneven current</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output overload 105%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output overload 110%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output overload 125%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output overload 150%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Failed to switch between bypass and inverter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Phase lock failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System self-check failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_The output voltage is quickly and abnormally transferred to the bypass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Load shock transfer to bypass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output overload alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Switch repeatedly to lock the bypass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Switch repeatedly to lock the inverter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_CAN communication between system boards is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System overload 105%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System overload 110%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System overload 125%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System overload 150%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Parallel current sharing abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Neighbor machine requests to bypass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_System overload alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output phase sequence is reversed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Rack number is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Parallel cable connection is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Module is unlocked (SYS)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECU is not ready</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Number of power modules does not meet the load</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Frequency over tracking range</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output sampling abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass phase voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass phase voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass frequency is too high</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass frequency is too low</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass phase sequence is reversed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass phase loss</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Unbalanced bypass phase voltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Quick detection of abnormal bypass voltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass frequency over frequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass frequency underfrequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass fast power down</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass phase sequence reverse</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_ECO bypass neutral line lost</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass E2PROM operation failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Failed to bypass DSP and monitor communication</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_The bypass DSP software version is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass software version and hardware version does not match</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass fan failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass SCR open circuit/fuse failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass SCR short circuit fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Emergency shutdown</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Stop button</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass auxiliary power failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass back irrigation</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass fuse failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass radiator over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Quickly detect abnormal output voltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output frequency is too high</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output frequency is too low</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Unbalanced output voltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Inverter overload 105%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Inverter overload 110%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Inverter overload 125%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Inverter overload 150%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass overload 125%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass overload 135%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass overload 150%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass overload 200%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Inverter overload alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass overload alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Pre-alarm for backup power time</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Pre-warning of remaining capacity</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Battery maintenance reminder</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Battery discharge time expired</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Battery discharge voltage is terminated</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Battery over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Low battery temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Battery self-test failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Battery discharge timeout</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Maintenance bypass MCB closed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output MCB is disconnected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_The dial code is under test</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Bypass abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Byp Module/Sys board_Output abnormal </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input frequency overfrequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input frequency underfrequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input phase sequence is reversed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input phase loss</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input voltage unbalance</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input voltage fast detection abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input current overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input current unbalance</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input neutral line is not connected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Enter insurance failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input power limit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Frequent mains battery switching</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input overload</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Abnormal battery connection (missing, reverse connection)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery self-test failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery DOD undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery EOD undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery overcharge</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Low battery temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery hardware overvoltage fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery charging overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery discharge overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery fuse/charger switch is open</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger switch shorted</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery discharge timeout</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery reverse connection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Positive bus voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Negative bus voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Positive bus voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Negative bus voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Positive and negative bus voltage unbalance</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus hardware overvoltage fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus overvoltage times reached</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus capacitor life is less than 1 year</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Instantaneous undervoltage of positive bus</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Instantaneous undervoltage of negative bus</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus short circuit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Abnormal Bus Boost</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Pre-warning of bus capacitor failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input AC soft start failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery DC soft start failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_BUS DC/DC soft start failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input phase lock failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Frequent switching between mains and battery</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Number of rectifier soft start reaches the limit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier hardware wave-by-wave current limiting fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier hardware overcurrent fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier hardware wave-by-wave current limit alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input PFC soft start failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier mains mode overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier battery mode overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Phase lock failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus soft start times to limit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Bus hardware soft start failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier IGBT module over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectified E2PROM read and write failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Communication between rectifier DSP and monitoring failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Communication between rectifier DSP and CPLD failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Fan failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier PowerOK is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Fan failure pre-alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier CPLD software version is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectification DSP software version is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_The rectifier software version and hardware version do not match</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Abnormal auxiliary power supply of rectifier</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_SPI communication failure between rectifier and inverter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Drive connection failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Rectifier contactor failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Battery contactor failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Emergency shutdown</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger switch is open</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger soft start failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger hardware overvoltage fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger hardware wave-by-wave current limiting fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger hardware wave-by-wave current limit alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Charger hardware overcurrent fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Balanced bridge arm hardware overcurrent fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Balanced bridge arm hardware wave-by-wave current limiting fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Balanced bridge arm hardware wave-by-wave current limit alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Balanced bridge arm rapid overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Balanced bridge arm overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Over temperature of balance bridge arm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Module is unlocked (PFC)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_The dial code is under test</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery charge  primary protection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery discharge primary protection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery charge secondary protection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery discharge secondary protection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery charge tertiary protection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery discharge tertiary protection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery charge warning</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Lithium battery discharge warning</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rectifier_Input abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bus short circuit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Busbar abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bus overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bus undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Unbalanced bus voltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter voltage overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter voltage undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter voltage unbalance</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Excessive DC component(R S T)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter module overload 105%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter module overload 110%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter module overload 125%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter module overload 150%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter output short circuit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter module overload alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter over frequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter underfrequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass SCR open circuit fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass SCR short circuit fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass overload 125%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass overload 135%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass overload 150%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass overload 200%</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass overload alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass over frequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass underfrequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Bypass phase sequence is reversed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter soft start failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Phase lock failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Frequent switching between bypass and inverter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter soft start times to limit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Parallel current sharing abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Catch fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Load shock</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Neighboring machine requests to bypass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Parallel line is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Drive connection failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Synchronous square wave anomaly</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter self-test failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter radiator over temperature</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter E2PROM operation failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter DSP and monitoring communication failed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Failed to communicate between inverter DSP and system board</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter DSP and CPLD communication failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter hardware overcurrent fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter insurance failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Emergency shutdown</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter contactor failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter hardware wave-by-wave current limiting fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter hardware wave-by-wave current limit alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter power supply abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter CPLD software version is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter DSP software version is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter software version and hardware version do not match</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Neutral and ground fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter relay open circuit fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter relay short circuit fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter capacitor failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter fan failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_SPI communication failure between rectifier and inverter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter fast overcurrent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter PowerOK is abnormal</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Module is not locked (INV)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter fan failure pre-alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter capacitor failure pre-warning</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_The dial code is under test</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Output overvoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Output undervoltage</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter fast check fail</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Inverter_Inverter negative power fault</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery state</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Time on battery(s)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remaining battery time(Min)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remaining battery capacity(%)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery voltage(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery current(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery temperature(C)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Number of mains failure</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input voltage(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input current(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input frequency(Hz)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input power(W)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output mode</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output frequency(Hz)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output voltage(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output current(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output power(W)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output load(%)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass frequency(Hz)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass voltage(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass current(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass power(W)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input voltage R/S/T(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input current R/S/T(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input frequency R/S/T(Hz)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Input power R/S/T(W)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output voltage R/S/T(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output current R/S/T(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output power R/S/T(W)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Output load R/S/T(%)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass voltage R/S/T(V)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass current R/S/T(A)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bypass power R/S/T(W)</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>vek5View</name>
    <message>
        <source>Buzzer:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Startup&amp;Shutdown:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Manual switch:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>DEVICE</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>OUTPUT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>INPUT</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>BYPASS</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>BATTERY</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>REC/INV</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Basic parameters</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Battery parameters</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Adjusting parameters</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UPS information</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Overview</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RT-data</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Control</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Maintenance</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Alarm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Configuration</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Parameter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Current settings</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Range</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Clear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Plugin</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Data/Time</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Event description</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>files(*.csv)</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>

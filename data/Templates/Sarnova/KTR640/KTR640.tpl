<Appliance Title="KTR640" Version="v 00.01.009">
  <Architecture Model="KTR640" ModelParam="KTR640" Family="KTR" OPClock="4 MHz" WDT="Disabled" DualClock="Single" Oscillator="Crystal" BankStart="$C000" BankSize="$4000" BankCount="62" BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00">
    <Peripheral Name="SimpleUI" Type="SimpleUI">
      <Wiring Type="Digital" Direction="Out" Port="P0" Pinset="LED" PortMask="000000FF" PinsetMask="000000FF" IsConnected="True"/>
      <Wiring Type="Digital" Direction="In" Port="P1" Pinset="Button" PortMask="000000FF" PinsetMask="000000FF" IsConnected="True"/>
      <Parameter Name="LedColor" Value="Red"/>
      <Parameter Name="Labels" Value="0 1 2 3 4 5 6 7"/>
    </Peripheral>
    <Peripheral Name="Keypad" Type="Keypad">
      <Wiring Type="Digital" Direction="Out" Port="P2" Pinset="Row" PortMask="000000F0" PinsetMask="0000000F" IsConnected="True"/>
      <Wiring Type="Digital" Direction="In" Port="P2" Pinset="Column" PortMask="0000000F" PinsetMask="0000000F" IsConnected="True"/>
      <Parameter Name="Rows" Value="4"/>
      <Parameter Name="Columns" Value="4"/>
      <Parameter Name="Keys" Value="1 2 3 A 4 5 6 B 7 8 9 C * 0 # D"/>
    </Peripheral>
    <Peripheral Name="Speaker" Type="Speaker">
      <Wiring Type="Analog" Direction="Out" Port="DAC" Pinset="Audio" IsConnected="True"/>
      <Parameter Name="Volume" Value="80"/>
    </Peripheral>
  </Architecture>
  <Design>
    <View Name="Board">
      <Display Device="SimpleUI">
        <Parameter Name="Caption" Value="Demo board"/>
        <Parameter Name="Width" Value="336"/>
        <Parameter Name="Height" Value="304"/>
        <Parameter Name="LEDs" Value="12,28,312,52"/>
        <Parameter Name="Buttons" Value="12,82,312,34"/>
        <Parameter Name="Keypad" Value="12,128,164,164"/>
        <Parameter Name="Speaker" Value="188,128,136,164"/>
        <Parameter Name="LedColor" Value="Red"/>
      </Display>
    </View>
    <View Name="Keypad">
      <Display Device="Keypad">
        <Parameter Name="Caption" Value="Keypad"/>
        <Parameter Name="Width" Value="180"/>
        <Parameter Name="Height" Value="200"/>
        <Parameter Name="Keypad" Value="8,28,164,164"/>
      </Display>
    </View>
    <View Name="Speaker">
      <Display Device="Speaker">
        <Parameter Name="Caption" Value="Speaker"/>
        <Parameter Name="Width" Value="168"/>
        <Parameter Name="Height" Value="104"/>
        <Parameter Name="Speaker" Value="8,30,152,64"/>
      </Display>
    </View>
  </Design>
  <Desktop>
    <Set Name="Source" Width="0" Height="0">
      <Window Name="frmAppliance" Left="0" Top="0" Width="1/4" Height="3/4" Parameters="Visible"/>
      <Window Name="frmSource" Left="1/4" Top="0" Width="3/4" Height="3/4" Parameters="Visible"/>
      <Window Name="frmMessage" Left="0" Top="3/4" Width="1/1" Height="1/4" Parameters="Visible"/>
    </Set>
    <Set Name="Debug" Width="0" Height="0">
      <Window Name="frmSource" Left="0" Top="0" Width="9/16" Height="2/3" Parameters="Visible"/>
      <Window Name="frmRegister" Left="9/16" Top="0" Width="3/16" Height="2/3" Parameters="Visible"/>
      <Window Name="frmPrototyper" Left="3/4" Top="0" Width="1/4" Height="2/3" Parameters="Visible"/>
      <Window Name="frmWatch" Left="0" Top="2/3" Width="3/8" Height="1/3" Parameters="Visible"/>
      <Window Name="frmMemory" Left="3/8" Top="2/3" Width="5/8" Height="1/3" Parameters="Visible"/>
    </Set>
    <Set Name="Ice" Width="0" Height="0">
      <Window Name="frmSource" Left="0" Top="0" Width="2/3" Height="2/3" Parameters="Visible"/>
      <Window Name="frmRegister" Left="2/3" Top="0" Width="1/3" Height="2/3" Parameters="Visible"/>
      <Window Name="frmWatch" Left="0" Top="2/3" Width="3/8" Height="1/3" Parameters="Visible"/>
      <Window Name="frmMemory" Left="3/8" Top="2/3" Width="5/8" Height="1/3" Parameters="Visible"/>
    </Set>
  </Desktop>
  <Code>
    <Common>
      <Assoc From="asm" To="obj" With="ca65 --cpu 65C02 -g -o %o %i"/>
      <Assoc From="obj" To="rom" With='ld65 -C "%tools%\Templates\Sarnova\include\ktr640.cfg" --dbgfile %n.sym -o %o %i'/>
      <Assoc From="rom" To="" With="00:4000"/>
      <ExtEditor Command="" InUse="False"/>
      <ExtBuilder Command="%AppPath%\tessarine-build" InUse="False"/>
    </Common>
    <Build>
      <Run Make="make %o" Output=""/>
    </Build>
  </Code>
  <Debugging>
    <ExtDebugger Driver="" InUse="False"/>
    <Watch Title="" Description="The register tree" Expanded="True" Category="Registers"/>
    <Watch Title="A" Description="Accumulator" Location="R:A" Access="ReadWrite" Display="HexByte" Category="Register" ParentCategory="Registers"/>
    <Watch Title="X" Description="Index register X" Location="R:X" Access="ReadWrite" Display="HexByte" Category="Register" ParentCategory="Registers"/>
    <Watch Title="Y" Description="Index register Y" Location="R:Y" Access="ReadWrite" Display="HexByte" Category="Register" ParentCategory="Registers"/>
    <Watch Title="S" Description="Stack pointer (page 1)" Location="R:S" Access="ReadWrite" Display="HexByte" Category="Register" ParentCategory="Registers"/>
    <Watch Title="P" Description="Processor status: N V - B D I Z C" Location="R:P" Access="ReadWrite" Display="BinByte" Expanded="True" Category="Register" ParentCategory="Registers"/>
    <Watch Title="N" Description="Flag N: Negative" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="80" Category="Register" Parent="P"/>
    <Watch Title="V" Description="Flag V: Overflow" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="40" Category="Register" Parent="P"/>
    <Watch Title="B" Description="Flag B: Break" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="10" Category="Register" Parent="P"/>
    <Watch Title="D" Description="Flag D: Decimal mode" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="8" Category="Register" Parent="P"/>
    <Watch Title="I" Description="Flag I: Interrupt disable" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="4" Category="Register" Parent="P"/>
    <Watch Title="Z" Description="Flag Z: Zero" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="2" Category="Register" Parent="P"/>
    <Watch Title="C" Description="Flag C: Carry" Location="R:P" Access="ReadWrite" Display="BinByte" Mask="1" Category="Register" Parent="P"/>
    <Watch Title="PC" Description="Program counter" Location="R:PC" Access="ReadWrite" Display="HexWord" Category="Register" ParentCategory="Registers"/>
    <Watch Title="Bank" Description="BANK: the ROM bank shown in the bank window" Location="00:00C0" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="DAC" Description="DAC output level, 0-255 ($80 mid level)" Location="00:00C1" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="P0" Description="Port 0 data: the output latch, or the pins of inputs" Location="00:00C2" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="P0DIR" Description="Port 0 direction, 1 = output" Location="00:00C3" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="P1" Description="Port 1 data (falling edges can interrupt, see KEYEN)" Location="00:00C4" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="P1DIR" Description="Port 1 direction, 1 = output" Location="00:00C5" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="P2" Description="Port 2 data" Location="00:00C6" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="P2DIR" Description="Port 2 direction, 1 = output" Location="00:00C7" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TCTL" Description="Timer control" Location="00:00C8" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TCTL.RUN" Description="Timer runs" Location="00:00C8" Access="ReadWrite" Display="BinByte" Mask="80" Category="SFR" Parent="TCTL"/>
    <Watch Title="TCTL.PRESCALER" Description="Prescaler: 0 /1, 1 /8, 2 /64, 3 /256" Location="00:00C8" Access="ReadWrite" Display="BinByte" Mask="3" Category="SFR" Parent="TCTL"/>
    <Watch Title="TCNTL" Description="Timer count, low byte" Location="00:00C9" Access="Read" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TCNTH" Description="Timer count, high byte as latched" Location="00:00CA" Access="Read" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TRLDL" Description="Timer reload, low byte" Location="00:00CB" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TRLDH" Description="Timer reload, high byte" Location="00:00CC" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="IFR" Description="Interrupt flags; writing 1 clears a flag" Location="00:00CD" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="IFR.TIMER" Description="Timer underflow" Location="00:00CD" Access="ReadWrite" Display="BinByte" Mask="1" Category="SFR" Parent="IFR"/>
    <Watch Title="IFR.TIMEBASE" Description="Time-base tick" Location="00:00CD" Access="ReadWrite" Display="BinByte" Mask="2" Category="SFR" Parent="IFR"/>
    <Watch Title="IFR.KEY" Description="Falling edge on an enabled port 1 pin" Location="00:00CD" Access="ReadWrite" Display="BinByte" Mask="4" Category="SFR" Parent="IFR"/>
    <Watch Title="IER" Description="Interrupt enables" Location="00:00CE" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="IER.TIMER" Description="Timer interrupt enabled" Location="00:00CE" Access="ReadWrite" Display="BinByte" Mask="1" Category="SFR" Parent="IER"/>
    <Watch Title="IER.TIMEBASE" Description="Time-base interrupt enabled" Location="00:00CE" Access="ReadWrite" Display="BinByte" Mask="2" Category="SFR" Parent="IER"/>
    <Watch Title="IER.KEY" Description="Key interrupt enabled" Location="00:00CE" Access="ReadWrite" Display="BinByte" Mask="4" Category="SFR" Parent="IER"/>
    <Watch Title="KEYEN" Description="Port 1 pins whose falling edge sets IFR.KEY" Location="00:00CF" Access="ReadWrite" Display="BinByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TBCTL" Description="Time base control (needs the sub-clock: option DualClock)" Location="00:00D0" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="TBCTL.EN" Description="Time base enabled" Location="00:00D0" Access="ReadWrite" Display="BinByte" Mask="80" Category="SFR" Parent="TBCTL"/>
    <Watch Title="TBCTL.RATE" Description="Rate: 0 2 Hz, 1 16 Hz, 2 128 Hz, 3 1024 Hz" Location="00:00D0" Access="ReadWrite" Display="BinByte" Mask="3" Category="SFR" Parent="TBCTL"/>
    <Watch Title="WDTCTL" Description="Watchdog timeout select" Location="00:00D1" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="WDTCTL.TIMEOUT" Description="Timeout: 0 16K, 1 64K, 2 256K, 3 1M cycles" Location="00:00D1" Access="ReadWrite" Display="BinByte" Mask="3" Category="SFR" Parent="WDTCTL"/>
    <Watch Title="WDTCLR" Description="Write $A5 to restart the watchdog" Location="00:00D2" Access="Write" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="SYSSTAT" Description="Options and reset cause" Location="00:00D3" Access="ReadWrite" Display="HexByte" Category="SFR" ParentCategory="Registers"/>
    <Watch Title="SYSSTAT.WDT" Description="The watchdog option is on" Location="00:00D3" Access="ReadWrite" Display="BinByte" Mask="1" Category="SFR" Parent="SYSSTAT"/>
    <Watch Title="SYSSTAT.DUAL" Description="The 32.768 kHz sub-clock is fitted" Location="00:00D3" Access="ReadWrite" Display="BinByte" Mask="2" Category="SFR" Parent="SYSSTAT"/>
    <Watch Title="SYSSTAT.RC" Description="The main clock is the RC oscillator" Location="00:00D3" Access="ReadWrite" Display="BinByte" Mask="4" Category="SFR" Parent="SYSSTAT"/>
    <Watch Title="SYSSTAT.WDRESET" Description="The last reset came from the watchdog; write 1 to clear" Location="00:00D3" Access="ReadWrite" Display="BinByte" Mask="80" Category="SFR" Parent="SYSSTAT"/>
    <Watch Title="MODELID" Description="The part: 7 KTR310, 13 KTR311, 24 KTR640" Location="00:00D4" Access="Read" Display="DecByte" Category="SFR" ParentCategory="Registers"/>
  </Debugging>
</Appliance>

<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name>robotpages::ControllerSettingPage</name>
    <message>
        <location filename="controllersettingpage.cpp" line="33"/>
        <source>Controller</source>
        <translation>控制器</translation>
    </message>
    <message>
        <location filename="controllersettingpage.cpp" line="45"/>
        <source>Alias</source>
        <translation>别名</translation>
    </message>
    <message>
        <location filename="controllersettingpage.cpp" line="49"/>
        <source>Time zone</source>
        <translation>时区</translation>
    </message>
    <message>
        <location filename="controllersettingpage.cpp" line="50"/>
        <source>Load the last project at start</source>
        <translation>启动时加载上次的工程</translation>
    </message>
</context>
<context>
    <name>robotpages::DragSettingPage</name>
    <message>
        <location filename="dragsettingpage.cpp" line="14"/>
        <source>Drag teaching</source>
        <translation>拖动示教</translation>
    </message>
    <message>
        <location filename="dragsettingpage.cpp" line="25"/>
        <source>Drag teaching on</source>
        <translation>开启拖动示教</translation>
    </message>
    <message>
        <location filename="dragsettingpage.cpp" line="28"/>
        <source>Joint space</source>
        <translation>关节空间</translation>
    </message>
    <message>
        <location filename="dragsettingpage.cpp" line="28"/>
        <source>Cartesian space</source>
        <translation>笛卡尔空间</translation>
    </message>
    <message>
        <location filename="dragsettingpage.cpp" line="29"/>
        <source>Space</source>
        <translation>空间</translation>
    </message>
    <message>
        <location filename="dragsettingpage.cpp" line="33"/>
        <source>Drag type</source>
        <translation>拖动类型</translation>
    </message>
</context>
<context>
    <name>robotpages::JogPage</name>
    <message>
        <location filename="jogpage.cpp" line="22"/>
        <source>Jog</source>
        <translation>点动</translation>
    </message>
    <message>
        <location filename="jogpage.cpp" line="29"/>
        <source>Speed override</source>
        <translation>速度倍率</translation>
    </message>
    <message>
        <location filename="jogpage.cpp" line="42"/>
        <source>Joints</source>
        <translation>关节</translation>
    </message>
    <message>
        <location filename="jogpage.cpp" line="46"/>
        <source>J%1</source>
        <translation>J%1</translation>
    </message>
</context>
<context>
    <name>robotpages::RobotPagesModule</name>
    <message>
        <location filename="robotpagesmodule.cpp" line="32"/>
        <source>Robot</source>
        <translation>机器人</translation>
    </message>
    <message>
        <location filename="robotpagesmodule.cpp" line="37"/>
        <source>Settings</source>
        <translation>设置</translation>
    </message>
</context>
<context>
    <name>robotpages::StatusPage</name>
    <message>
        <source> (last known)</source>
        <translation>（最后已知）</translation>
    </message>
    <message>
        <source>idle</source>
        <translation>空闲</translation>
    </message>
    <message>
        <source>running</source>
        <translation>运行中</translation>
    </message>
    <message>
        <source>paused</source>
        <translation>已暂停</translation>
    </message>
    <message>
        <source>error</source>
        <translation>故障</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="47"/>
        <source>Status</source>
        <translation>状态</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="54"/>
        <source>Robot</source>
        <translation>机器人</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="65"/>
        <source>Controller</source>
        <translation>控制器</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="66"/>
        <source>Motor power</source>
        <translation>电机电源</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="67"/>
        <source>Safety stop</source>
        <translation>安全停止</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="68"/>
        <source>Operating mode</source>
        <translation>操作模式</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="69"/>
        <source>Robot state</source>
        <translation>机器人状态</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="70"/>
        <source>Joints (°)</source>
        <translation>关节 (°)</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="71"/>
        <source>Position (mm)</source>
        <translation>位置 (mm)</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="72"/>
        <source>Euler angles (°)</source>
        <translation>欧拉角 (°)</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="74"/>
        <source>Switch</source>
        <translation>切换</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="85"/>
        <source>Motor on</source>
        <translation>上电</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="86"/>
        <source>Motor off</source>
        <translation>下电</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="87"/>
        <source>Manual</source>
        <translation>手动</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="88"/>
        <source>Auto</source>
        <translation>自动</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="89"/>
        <source>Reset alarm</source>
        <translation>复位报警</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="137"/>
        <source>connected</source>
        <translation>已连接</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="137"/>
        <source>not connected</source>
        <translation>未连接</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="138"/>
        <source>off</source>
        <translation>关</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="138"/>
        <source>on</source>
        <translation>开</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="139"/>
        <source>none</source>
        <translation>无</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="143"/>
        <source>manual</source>
        <translation>手动</translation>
    </message>
    <message>
        <location filename="statuspage.cpp" line="144"/>
        <source>auto</source>
        <translation>自动</translation>
    </message>
</context>
</TS>

<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>MainWindow</name>
    <message numerus="yes">
        <source>%n cell(s)</source>
        <translation>
            <numerusform>%n cell</numerusform>
            <numerusform>%n cells</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1: %n channel(s)</source>
        <translation>
            <numerusform>%1: %n channel</numerusform>
            <numerusform>%1: %n channels</numerusform>
        </translation>
    </message>
</context>
</TS>

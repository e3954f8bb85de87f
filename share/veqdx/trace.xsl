<?xml version="1.0" encoding="UTF-8"?>
<!-- Shows a method trace of the veqdx driver (TraceRecords) as an HTML page: one row per call,
     failed calls highlighted, then the totals per method. Open the trace in a browser with
     DriverSetup "TraceTransform=trace.xsl" and this file next to it, or run
     xsltproc trace.xsl VelmoraQdx_....xml > trace.html -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="html" encoding="UTF-8" indent="yes"/>
  <xsl:key name="byMethod" match="TraceRecord" use="concat(Interface, '.', Method)"/>

  <xsl:template match="/TraceRecords">
    <html>
      <head>
        <title>Trace of <xsl:value-of select="@driver"/> on <xsl:value-of select="@resource"/></title>
        <style>
          body { font-family: sans-serif; font-size: 13px; }
          table { border-collapse: collapse; margin-bottom: 2em; }
          th, td { border: 1px solid #bbb; padding: 2px 6px; text-align: left; vertical-align: top; }
          th { background: #e8e8e8; }
          tr.failed td { background: #fbd5d5; }
          td.number { text-align: right; }
          span.dir { color: #777; }
        </style>
      </head>
      <body>
        <h1>
          <xsl:value-of select="@driver"/> <xsl:text> </xsl:text> <xsl:value-of select="@revision"/>
        </h1>
        <p>Resource <b><xsl:value-of select="@resource"/></b>, started <xsl:value-of select="@started"/>,
          <xsl:value-of select="count(TraceRecord)"/><xsl:text> calls</xsl:text>
          <xsl:if test="@dropped">
            <xsl:text> (</xsl:text><span class="dropped"><xsl:value-of select="@dropped"/> older calls dropped</span><xsl:text>)</xsl:text>
          </xsl:if>
          <xsl:text>, </xsl:text>
          <xsl:value-of select="count(TraceRecord[not(starts-with(HRESULT, '0x0') or starts-with(HRESULT, '0x1')
            or starts-with(HRESULT, '0x2') or starts-with(HRESULT, '0x3') or starts-with(HRESULT, '0x4')
            or starts-with(HRESULT, '0x5') or starts-with(HRESULT, '0x6') or starts-with(HRESULT, '0x7'))])"/>
          <xsl:text> failed.</xsl:text>
        </p>
        <table class="calls">
          <tr><th>Time</th><th>Thread</th><th>Call</th><th>Parameters</th><th>Duration (us)</th><th>Status</th></tr>
          <xsl:apply-templates select="TraceRecord"/>
        </table>
        <h2>Totals per method</h2>
        <table class="totals">
          <tr><th>Call</th><th>Count</th><th>Total (us)</th><th>Mean (us)</th></tr>
          <xsl:for-each select="TraceRecord[generate-id() = generate-id(key('byMethod', concat(Interface, '.', Method))[1])]">
            <xsl:sort select="sum(key('byMethod', concat(Interface, '.', Method))/ExecutionTime)"
                      data-type="number" order="descending"/>
            <xsl:variable name="calls" select="key('byMethod', concat(Interface, '.', Method))"/>
            <tr>
              <td><xsl:value-of select="concat(Interface, '.', Method)"/></td>
              <td class="number"><xsl:value-of select="count($calls)"/></td>
              <td class="number"><xsl:value-of select="sum($calls/ExecutionTime)"/></td>
              <td class="number">
                <xsl:value-of select="format-number(sum($calls/ExecutionTime) div count($calls), '0.0')"/>
              </td>
            </tr>
          </xsl:for-each>
        </table>
      </body>
    </html>
  </xsl:template>

  <xsl:template match="TraceRecord">
    <tr>
      <xsl:if test="not(starts-with(HRESULT, '0x0') or starts-with(HRESULT, '0x1')
                        or starts-with(HRESULT, '0x2') or starts-with(HRESULT, '0x3')
                        or starts-with(HRESULT, '0x4') or starts-with(HRESULT, '0x5')
                        or starts-with(HRESULT, '0x6') or starts-with(HRESULT, '0x7'))">
        <xsl:attribute name="class">failed</xsl:attribute>
      </xsl:if>
      <td><xsl:value-of select="substring(StartTime, 12, 15)"/></td>
      <td class="number"><xsl:value-of select="Thread"/></td>
      <td><xsl:value-of select="concat(Interface, '.', Method)"/></td>
      <td>
        <xsl:for-each select="Parameters/Parameter">
          <span class="dir"><xsl:value-of select="@direction"/></span>
          <xsl:text> </xsl:text>
          <xsl:value-of select="@name"/> = <xsl:value-of select="."/>
          <xsl:for-each select="Item">
            <xsl:if test="position() &gt; 1">, </xsl:if><xsl:value-of select="."/>
          </xsl:for-each>
          <xsl:if test="@truncated = 'true'"> ...</xsl:if>
          <xsl:if test="position() != last()"><br/></xsl:if>
        </xsl:for-each>
      </td>
      <td class="number"><xsl:value-of select="ExecutionTime"/></td>
      <td>
        <xsl:value-of select="HRESULT"/>
        <xsl:if test="string(Message)"><br/><xsl:value-of select="Message"/></xsl:if>
      </td>
    </tr>
  </xsl:template>
</xsl:stylesheet>
